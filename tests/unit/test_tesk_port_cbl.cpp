/* CBL notices, which say in which VLANs each port forwards. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

const char *const handler = "tesk_ltlsvc_cbl_change";
const char *const one_port = "tesk_ltlsvc_cbl_change_one_port";

/** One port's part of a notice. */
struct Forwarding {
  uint32_t if_index;
  std::vector<uint32_t> vlans;
};

Bytes cbl_notice(const std::vector<Forwarding> &ports) {
  Payload payload;
  payload.u16(static_cast<uint16_t>(ports.size()));
  for (const Forwarding &port : ports) payload.u32(port.if_index).raw(vlan_set(port.vlans));
  return payload;
}

void announce(const Bytes &notice) {
  qbus_msg_ref_t message = hold({.opcode = QBUS_OPC_LTLSVC_CBL_CHANGE, .payload = notice});
  tesk_ltlsvc_cbl_change(&message);
}

Line printed(const std::string &set) { return control_of(one_port, ": Port 1a000003 CBL[" + set + "]\n"); }

/** A VLAN's forwarding ports change because of port 3. */
Lines vlan_now(uint32_t vlan, uint32_t cbl) {
  return lines(entry_marked(), control_of("tesk_vlan_cbl_change_one_port",
                                          format(": Port[1a000003], VLAN[%u], CBL[%05x]\n", vlan, cbl)));
}

Line cut_short(size_t length) {
  return error_of(
      handler, format(": QBUS_OPC_LTLSVC_CBL_CHANGE cut short: %u bytes\n", static_cast<uint32_t>(length)));
}

/** Port 3 is up; 10 and 20 are CIN VLANs. */
class CblNotice : public TablesTest {
 protected:
  CblNotice() : TablesTest({10, 20}) { port = port_is_up(ethernet(3), {10}); }

  tesk_port_t *port;
};

TEST_F(CblNotice, SetsWhereThePortForwards) {
  announce(cbl_notice({{ethernet(3), {10, 30}}}));
  expect(
      lines(printed("10,30,4095"), port_marked(), vlan_now(10, 0x8), vlan_now(20, 0), vlan_now(4095, 0x8)));
  EXPECT_EQ(shown_set(port->vlan_cbl_bmp), "{10 30 4095}");
  EXPECT_EQ(vlan_entry(10)->cbl, 0x8u);
  EXPECT_EQ(vlan_entry(20)->cbl, 0u);
  EXPECT_EQ(vlan_entry(4095)->cbl, 0x8u);
  EXPECT_TRUE(vlan_entry(10)->is_dirty);
  EXPECT_TRUE(port->is_dirty);
  EXPECT_EQ(vlan_entry(10)->ltl, 0x8u);
  EXPECT_EQ(vlan_entry(20)->ltl, 0u);
  EXPECT_EQ(shown_set(port->vlan_bmp), "{10 4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{10}");
}

TEST_F(CblNotice, ReplacesWhatWasSaidBefore) {
  announce(cbl_notice({{ethernet(3), {10, 20}}}));
  forget();
  announce(cbl_notice({{ethernet(3), {20}}}));
  expect(lines(printed("20,4095"), port_marked(), vlan_now(10, 0), vlan_now(20, 0x8), vlan_now(4095, 0x8)));
  EXPECT_EQ(shown_set(port->vlan_cbl_bmp), "{20 4095}");
}

TEST_F(CblNotice, SayingTheSameAgainMarksTheRecordsAgain) {
  for (int i = 0; i < 2; ++i) {
    announce(cbl_notice({{ethernet(3), {10}}}));
    expect(lines(printed("10,4095"), port_marked(), vlan_now(10, 0x8), vlan_now(20, 0), vlan_now(4095, 0x8)));
    tesk_krnl_do_sync();
    forget();
  }
}

TEST_F(CblNotice, LeavesThePortForwardingInTheSolVlanWhateverItSays) {
  announce(cbl_notice({{ethernet(3), {}}}));
  expect(lines(printed("4095"), port_marked(), vlan_now(10, 0), vlan_now(20, 0), vlan_now(4095, 0x8)));
  EXPECT_EQ(shown_set(port->vlan_cbl_bmp), "{4095}");
}

TEST_F(CblNotice, OfAnUnknownPortIsAnErrorAndTheNextIsServed) {
  announce(cbl_notice({{ethernet(9), {10}}, {ethernet(3), {}}}));
  expect(lines(error_of(one_port, ": Failed to retrieve the port context for if_index(0x1a000009)\n"),
               printed("4095"), port_marked(), vlan_now(10, 0), vlan_now(20, 0), vlan_now(4095, 0x8)));
}

TEST_F(CblNotice, OfOnePortTellsWhetherThePortIsKnown) {
  const vlan_bitset_t set = vlan_set({10});
  EXPECT_TRUE(tesk_ltlsvc_cbl_change_one_port(ethernet(3), &set));
  EXPECT_FALSE(tesk_ltlsvc_cbl_change_one_port(ethernet(9), &set));
  ignore_rest();
}

TEST_F(CblNotice, OfAnEntryWithoutContextIsAnError) {
  EXPECT_TRUE(tesk_ifindex_hash_insert(ethernet(9), nullptr));
  forget();
  announce(cbl_notice({{ethernet(9), {10}}}));
  expect({error_of(one_port, ": Failed to retrieve the port context for if_index(0x1a000009)\n")});
}

TEST_F(CblNotice, OfAnUplinkIsPassedOverOnTheVorlundBoard) {
  vorlund_platform = true;
  announce(cbl_notice({{ethernet(4), {10}}}));
  expect(lines(converted(ethernet(4)),
               control_of("tesk_port_is_downlink_ifindex", ":IfIndex [0x1a000004] Uplink Port\n"),
               control_of(handler, ":Port (0x1a000004) is not downlink\n")));
}

TEST_F(CblNotice, ServesThePortBehindAnUplink) {
  vorlund_platform = true;
  announce(cbl_notice({{ethernet(4), {10}}, {ethernet(3), {10}}}));
  expect(lines(converted(ethernet(4)),
               control_of("tesk_port_is_downlink_ifindex", ":IfIndex [0x1a000004] Uplink Port\n"),
               control_of(handler, ":Port (0x1a000004) is not downlink\n"), converted(ethernet(3)),
               control_of("tesk_port_is_downlink_ifindex", ":IfIndex [0x1a000003] Downlink Port\n"),
               printed("10,4095"), port_marked(), vlan_now(10, 0x8), vlan_now(20, 0), vlan_now(4095, 0x8)));
}

TEST_F(CblNotice, PrintsALongSetInChunksThatFitTheBuffer) {
  std::vector<uint32_t> even;
  for (uint32_t vlan = 100; vlan < 200; vlan += 2) even.push_back(vlan);
  announce(cbl_notice({{ethernet(3), even}}));

  even.push_back(4095);
  const vlan_bitset_t set = vlan_set(even);
  Lines chunks;
  int done = 0;
  for (int first = 1; done == 0; first = 0) {
    char text[64];
    bitset_snprintf(text, sizeof text, &set, first, &done);
    chunks.push_back(printed(text));
  }
  ASSERT_GT(chunks.size(), 2u);
  expect(lines(chunks, port_marked(), vlan_now(10, 0), vlan_now(20, 0), vlan_now(4095, 0x8)));
}

TEST_F(CblNotice, MovesNoBitForAPortOnAsicPort40) {
  tesk_port_t *far = port_is_up(ethernet(40), {});
  announce(cbl_notice({{ethernet(40), {10}}}));
  EXPECT_EQ(shown_set(far->vlan_cbl_bmp), "{10 4095}");
  EXPECT_EQ(vlan_entry(10)->cbl, 0u);
  EXPECT_EQ(vlan_entry(4095)->cbl, 0u);
  ignore_rest();
}

TEST_F(CblNotice, WithoutPayloadIsAbandoned) {
  announce({});
  expect({error_of(handler, ":NULL QBUS Payload\n")});
}

TEST_F(CblNotice, IsTracedOnceWhenItsSetCannotBePrinted) {
  when("bitset_snprintf").returns(0);
  announce(cbl_notice({{ethernet(3), {10}}}));
  EXPECT_EQ(count_of(control("tesk_ltlsvc_cbl_change_one_port",
                             "tesk_ltlsvc_cbl_change_one_port: Port 1a000003 CBL[]\n")),
            1u);
  ignore_rest();
}

TEST_F(CblNotice, OfNoPortsIsNothing) {
  announce(cbl_notice({}));
  expect({});
}

TEST_F(CblNotice, CutAnywhereIsAbandonedWhole) {
  const Bytes whole = cbl_notice({{ethernet(3), {10}}, {ethernet(3), {20}}});
  ASSERT_EQ(whole.size(), 2u + 2 * 520u);
  for (size_t length = 1; length < whole.size(); ++length) {
    announce(cut(whole, length));
    expect({cut_short(length)});
  }
  EXPECT_EQ(shown_set(port->vlan_cbl_bmp), "{}");
}

TEST_F(CblNotice, ThatClaimsMorePortsThanItHasIsAbandonedWhole) {
  for (const uint16_t claim : std::initializer_list<uint16_t>{2, 128, 0xffff}) {
    Bytes notice = cbl_notice({{ethernet(3), {10}}});
    std::memcpy(notice.data(), &claim, sizeof claim);
    announce(notice);
    expect({cut_short(notice.size())});
  }
}

TEST_F(CblNotice, TakesItsVlanSetAs512BytesWhateverItsSizeSays) {
  for (const int32_t size : {-1, 0, 511, 513, 0x7fffffff}) {
    Bytes notice = cbl_notice({{ethernet(3), {10, 4094}}});
    std::memcpy(notice.data() + 6, &size, sizeof size);
    announce(notice);
    EXPECT_EQ(shown_set(port->vlan_cbl_bmp), "{10 4094 4095}") << size;
    announce(cbl_notice({{ethernet(3), {}}}));
  }
  EXPECT_EQ(port->vlan_cbl_bmp.size, 512);
  ignore_rest();
}

}  // namespace
