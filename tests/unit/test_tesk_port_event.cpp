/* Port state notices: creating and deleting contexts, ports that join and leave VLANs, the shadow set. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

const char *const handler = "tesk_handle_l2_protocol_state_changed_msg";
const char *const change = "tesk_l2psc_vlan_state_change";
const char *const shadow = "tesk_port_upd_vlan_shadowdb";

constexpr uint8_t up = PORTSVC_LINK_UP;
constexpr uint8_t down = PORTSVC_LINK_DOWN;

const Line received = control_of(handler, ": QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE\n");
const Line changed = control_of(change, ": Enter\n");
const Line shadowed = control_of(shadow, ": Enter\n");

Line reported(uint32_t if_index, uint32_t link) {
  return control_of(handler, format(":QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE[0x%x,%u]\n", if_index, link));
}

Line instance_created(uint32_t if_index) {
  return control_of(handler, format(":Instance created for Port (0x%x)\n", if_index));
}

Line instance_deleted(uint32_t if_index) {
  return control_of(handler, format(":Instance deleted for Port (0x%x)\n", if_index));
}

/** A physical port's context is created while the SoL VLAN (serial over LAN) has no other port. */
Lines created(uint32_t port) {
  return lines(converted(ethernet(port)),
               port_pushed(format("0x%x type 26 asic %u [4095 blk]", ethernet(port), port)),
               ltl_set(4095, bit(port)), vlan_marked(), instance_created(ethernet(port)));
}

/** The context of the only port is deleted. */
Lines deleted(uint32_t port) {
  return lines(ltl_set(4095, 0), vlan_marked(), port_removed(ethernet(port)),
               instance_deleted(ethernet(port)));
}

Line exists(uint32_t port) {
  return control_of(handler, format(":TESK Port (0x%x)UP and instance exists\n", ethernet(port)));
}

/** A port of the vorlund board is found to be a downlink. */
Lines downlink(uint32_t port) {
  return lines(
      converted(ethernet(port)),
      control_of("tesk_port_is_downlink_ifindex", format(":IfIndex [0x%x] Downlink Port\n", ethernet(port))));
}

/** A daemon with CIN VLAN 10 (chassis internal network). */
class PortState : public TablesTest {
 protected:
  PortState() : TablesTest({10}) {}
};

TEST_F(PortState, UpCreatesTheContextAndActivatesTheVlansItIsTheFirstToJoin) {
  report(state_notice({port_state(ethernet(3), up, {10, 20})}));
  expect(lines(received, reported(ethernet(3), 1), created(3), changed, activated(10, 1001), port_marked(),
               ltl_set(10, 0x8), vlan_marked(), shadowed));
  const tesk_port_t *port = tesk_ifindex_hash_find(ethernet(3));
  EXPECT_EQ(shown_set(port->vlan_bmp), "{10 4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{10 20}");
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0x8u);
  EXPECT_EQ(vlan_entry(10)->rr_token, 1001u);
  EXPECT_EQ(port->iod, 3u);
}

TEST_F(PortState, UpAgainChangesNothing) {
  const tesk_port_t *port = port_is_up(ethernet(3), {10, 20});
  tesk_krnl_do_sync();
  forget();
  report(state_notice({port_state(ethernet(3), up, {10, 20})}));
  expect({received, reported(ethernet(3), 1), exists(3), changed, shadowed});
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), port);
  EXPECT_EQ(shown_set(port->vlan_bmp), "{10 4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{10 20}");
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0x8u);
  EXPECT_EQ(dirty_port_count, 0);
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(PortState, UpAgainKeepsTheOrdinalOfTheCreation) {
  const tesk_port_t *port = port_is_up(ethernet(3), {});
  portsvc_l2_port_state_t state = port_state(ethernet(3), up, {});
  state.iod = 77;
  report(state_notice({state}));
  expect({received, reported(ethernet(3), 1), exists(3), changed, shadowed});
  EXPECT_EQ(port->iod, 3u);
}

TEST_F(PortState, UpOfASecondPortJoinsWithoutActivation) {
  port_is_up(ethernet(3), {10});
  port_is_up(ethernet(4), {});
  report(state_notice({port_state(ethernet(4), up, {10})}));
  expect(lines(received, reported(ethernet(4), 1), exists(4), changed, port_marked(), ltl_set(10, 0x18),
               vlan_marked(), shadowed));
}

TEST_F(PortState, UpOfTheSolVlanIsNothingNew) {
  port_is_up(ethernet(3), {});
  report(state_notice({port_state(ethernet(3), up, {4095})}));
  expect({received, reported(ethernet(3), 1), exists(3), changed, shadowed});
}

TEST_F(PortState, UpJoinsThoughTheActivationFails) {
  port_is_up(ethernet(3), {});
  when("ltlsvc_send_ltl_alloc").returns(5);
  report(state_notice({port_state(ethernet(3), up, {10})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed,
               "ltlsvc_send_ltl_alloc(30, 7, 10, 0, 0, 0)",
               error_of("tesk_vlan_activate", ": Tesk traffic redirection setup for vlan 10 failed\n"),
               error_of(change, ":Failed to activate CIN VLAN:10\n"), port_marked(), ltl_set(10, 0x8),
               vlan_marked(), shadowed));
  EXPECT_EQ(shown_set(tesk_ifindex_hash_find(ethernet(3))->vlan_bmp), "{10 4095}");
}

TEST_F(PortState, UpJoinsTheVlansInAscendingOrderThoughAnActivationFails) {
  tesk_vlan_hash_insert(20);
  tesk_port_t *port = port_is_up(ethernet(3), {});
  when("kinb_tesk_vlan_add").once().returns(5);
  report(state_notice({port_state(ethernet(3), up, {20, 4095, 10})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed,
               "ltlsvc_send_ltl_alloc(30, 7, 10, 0, 0, 0)", token_kept(10, 1001), "kinb_tesk_vlan_add(10)",
               error_of("tesk_vlan_activate", ": Tesk classification setup for vlan 10 failed\n"),
               error_of(change, ":Failed to activate CIN VLAN:10\n"), port_marked(), ltl_set(10, 0x8),
               vlan_marked(), activated(20, 1002), port_marked(), ltl_set(20, 0x8), vlan_marked(), shadowed));
  EXPECT_EQ(shown_set(port->vlan_bmp), "{10 20 4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{10 20 4095}");
}

TEST_F(PortState, UpAlsoLeavesTheVlansReportedDown) {
  port_is_up(ethernet(3), {10, 20});
  report(state_notice({port_state(ethernet(3), up, {30}, {10, 20})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed, ltl_set(10, 0), vlan_marked(),
               port_marked(), deactivated(10, 1002), shadowed));
  const tesk_port_t *port = tesk_ifindex_hash_find(ethernet(3));
  EXPECT_EQ(shown_set(port->vlan_bmp), "{4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{30}");
}

TEST_F(PortState, LeavesTheVlansInAscendingOrderThoughADeactivationFails) {
  tesk_vlan_hash_insert(20);
  tesk_port_t *port = port_is_up(ethernet(3), {10, 20});
  when("kinb_tesk_vlan_del").once().returns(5);
  report(state_notice({port_state(ethernet(3), up, {}, {20, 4095, 10})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed, ltl_set(10, 0), vlan_marked(),
               port_marked(), "kinb_tesk_vlan_del(10)",
               error_of("tesk_vlan_deactivate", ": Tesk classification deletion for vlan 10 failed\n"),
               error_of(change, ":Failed to deactivate CIN VLAN:10\n"), ltl_set(20, 0), vlan_marked(),
               port_marked(), deactivated(20, 1003), ltl_set(4095, 0), vlan_marked(), port_marked(),
               deactivated(4095, 1004), shadowed));
  EXPECT_EQ(shown_set(port->vlan_bmp), "{}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{}");
}

TEST_F(PortState, DownOfAVlanWithoutPortsDeactivatesItAllTheSame) {
  port_is_up(ethernet(3), {});
  report(state_notice({port_state(ethernet(3), up, {}, {10})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed,
               error_of(change, ": No SoL/CIN VLAN (10) information in member Port (0x1a000003)\n"),
               ltl_set(10, 0), vlan_marked(), port_marked(), deactivated(10, 1001), shadowed));
}

TEST_F(PortState, DownWithdrawsThePortAndDeletesItsContext) {
  port_is_up(ethernet(3), {10, 20});
  report(state_notice({port_state(ethernet(3), down, {}, {10, 20})}));
  expect(lines(received, reported(ethernet(3), 2), shadowed, changed, ltl_set(10, 0), vlan_marked(),
               port_marked(), deactivated(10, 1002), deleted(3)));
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0u);
  EXPECT_EQ(dirty_port_count, 0);
}

TEST_F(PortState, DownKeepsAVlanActiveThatHasAnotherPort) {
  port_is_up(ethernet(3), {10});
  port_is_up(ethernet(4), {10});
  report(state_notice({port_state(ethernet(3), down, {}, {10})}));
  expect(lines(received, reported(ethernet(3), 2), shadowed, changed, ltl_set(10, 0x10), vlan_marked(),
               port_marked(), ltl_set(4095, 0x10), vlan_marked(), port_removed(ethernet(3)),
               instance_deleted(ethernet(3))));
}

TEST_F(PortState, DownDeletesTheContextThoughTheDeactivationFails) {
  port_is_up(ethernet(3), {10});
  when("kinb_tesk_vlan_del").returns(5);
  report(state_notice({port_state(ethernet(3), down, {}, {10})}));
  expect(lines(received, reported(ethernet(3), 2), shadowed, changed, ltl_set(10, 0), vlan_marked(),
               port_marked(), "kinb_tesk_vlan_del(10)",
               error_of("tesk_vlan_deactivate", ": Tesk classification deletion for vlan 10 failed\n"),
               error_of(change, ":Failed to deactivate CIN VLAN:10\n"), deleted(3)));
}

TEST_F(PortState, DownOfAVlanThatThePortIsNotInIsAnErrorAndCarriedOut) {
  port_is_up(ethernet(4), {10});
  port_is_up(ethernet(3), {});
  report(state_notice({port_state(ethernet(3), up, {}, {10})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed,
               error_of(change, ": No SoL/CIN VLAN (10) information in member Port (0x1a000003)\n"),
               ltl_set(10, 0x10), vlan_marked(), port_marked(), shadowed));
}

TEST_F(PortState, DownOfTheSolVlanTakesThePortOutOfItsMask) {
  port_is_up(ethernet(3), {});
  report(state_notice({port_state(ethernet(3), up, {}, {4095})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed, ltl_set(4095, 0), vlan_marked(),
               port_marked(), deactivated(4095, 1001), shadowed));
  EXPECT_EQ(shown_set(tesk_ifindex_hash_find(ethernet(3))->vlan_bmp), "{}");
}

TEST_F(PortState, UpOfTheSolVlanJoinsItOnceItWasDown) {
  tesk_port_t *port = port_is_up(ethernet(3), {});
  report(state_notice({port_state(ethernet(3), up, {}, {4095})}));
  forget();
  report(state_notice({port_state(ethernet(3), up, {4095})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed, activated(4095, 1002), port_marked(),
               ltl_set(4095, 0x8), vlan_marked(), shadowed));
  EXPECT_EQ(shown_set(port->vlan_bmp), "{4095}");
}

TEST_F(PortState, DownWithVlansUpIsAnErrorTwiceAndJoinsNone) {
  port_is_up(ethernet(3), {});
  report(state_notice({port_state(ethernet(3), down, {10})}));
  const std::string text = ": Port (0x1a000003) DOWN, Non-empty VLAN UP BMP\n";
  expect(lines(received, reported(ethernet(3), 2), shadowed, error_of(shadow, text), changed,
               error_of(change, text), deleted(3)));
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0u);
}

TEST_F(PortState, DownWithTheFirstOrTheLastVlanUpIsAnError) {
  tesk_port_t *port = port_is_up(ethernet(3), {});
  const std::string text = ": Port (0x1a000003) DOWN, Non-empty VLAN UP BMP\n";
  for (const uint32_t vlan : {0u, 4095u}) {
    const portsvc_l2_port_state_t state = port_state(ethernet(3), down, {vlan});
    tesk_port_upd_vlan_shadowdb(port, &state);
    tesk_l2psc_vlan_state_change(port, &state);
    expect({shadowed, error_of(shadow, text), changed, error_of(change, text)});
  }
}

TEST_F(PortState, OfALinkThatIsNotUpOnlyTakesVlansOutOfTheShadowSet) {
  tesk_port_t *port = port_is_up(ethernet(3), {10, 20});
  tesk_krnl_do_sync();
  forget();
  portsvc_l2_port_state_t state = port_state(ethernet(3), down, {30}, {20});
  tesk_port_upd_vlan_shadowdb(port, &state);
  expect({shadowed, error_of(shadow, ": Port (0x1a000003) DOWN, Non-empty VLAN UP BMP\n")});
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{10}");
  state = port_state(ethernet(3), 3, {30}, {10});
  tesk_port_upd_vlan_shadowdb(port, &state);
  expect({shadowed});
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{}");
  EXPECT_FALSE(port->is_dirty);
}

TEST_F(PortState, OfALinkThatIsNotUpJoinsNoVlanButLeavesThoseReportedDown) {
  tesk_vlan_hash_insert(20);
  tesk_port_t *port = port_is_up(ethernet(3), {10});
  const portsvc_l2_port_state_t state = port_state(ethernet(3), 3, {20}, {10});
  tesk_l2psc_vlan_state_change(port, &state);
  expect(lines(changed, ltl_set(10, 0), vlan_marked(), port_marked(), deactivated(10, 1002)));
  EXPECT_EQ(shown_set(port->vlan_bmp), "{4095}");
}

TEST_F(PortState, DownIsAnErrorWhenTheContextCannotBeDeleted) {
  port_is_up(ethernet(3), {});
  when("tesk_delete_port_context").returns(6);
  report(state_notice({port_state(ethernet(3), down, {})}));
  expect({received, reported(ethernet(3), 2), shadowed, changed,
          error_of(handler, ":Failed to delete the port context:0x1a000003\n")});
}

TEST_F(PortState, ChangesThePortThoughTheMaskOfAVlanCannotBeSet) {
  port_is_up(ethernet(3), {});
  when("tesk_vlan_hash_set_ltl").call(1).returns(0);
  report(state_notice({port_state(ethernet(3), up, {10})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed, activated(10, 1001), port_marked(),
               error_of(change, ": Failed to set LTL(0x8) for VLAN(10)\n"), vlan_marked(), shadowed));
  EXPECT_TRUE(tesk_port_has_vlan(tesk_ifindex_hash_find(ethernet(3)), 10));
}

TEST_F(PortState, LeavesTheForwardingStateAsItIs) {
  tesk_port_t *port = port_is_up(ethernet(3), {10});
  bitset_set_bit(&port->vlan_cbl_bmp, 10);
  tesk_vlan_hash_set_cbl(10, 0x18);
  report(state_notice({port_state(ethernet(3), up, {}, {10})}));
  EXPECT_EQ(vlan_entry(10)->cbl, 0x18u);
  report(state_notice({port_state(ethernet(3), up, {10})}));
  EXPECT_EQ(vlan_entry(10)->cbl, 0x18u);
  EXPECT_EQ(shown_set(port->vlan_cbl_bmp), "{10}");
  ignore_rest();
}

TEST_F(PortState, LeavesAVlanThoughItsMaskCannotBeSet) {
  tesk_port_t *port = port_is_up(ethernet(3), {10});
  when("tesk_vlan_hash_set_ltl").once().returns(0);
  report(state_notice({port_state(ethernet(3), up, {}, {10})}));
  expect(lines(received, reported(ethernet(3), 1), exists(3), changed,
               error_of(change, ": Failed to set LTL(0x0) for VLAN(10)\n"), vlan_marked(), port_marked(),
               deactivated(10, 1002), shadowed));
  EXPECT_FALSE(tesk_port_has_vlan(port, 10));
}

TEST_F(PortState, DownOfAnUnknownPortIsAnError) {
  report(state_notice({port_state(ethernet(3), down, {}, {10})}));
  expect({received, reported(ethernet(3), 2),
          error_of(handler, ":TESK Port (0x1a000003)DOWN and instance does not exist\n")});
}

TEST_F(PortState, OfAnyOtherKindIsNotHandled) {
  port_is_up(ethernet(3), {10});
  for (const uint8_t link : std::initializer_list<uint8_t>{0, 3, 255}) {
    report(state_notice({port_state(ethernet(3), link, {20}, {10})}));
    expect({received, reported(ethernet(3), link),
            error_of(handler, format(":Not handling PHY_LINK_STATE_CHG:%u for port (0x1a000003)\n", link))});
  }
  EXPECT_EQ(shown_set(tesk_ifindex_hash_find(ethernet(3))->shadow_vlan_bmp), "{10}");
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0x8u);
}

TEST_F(PortState, GoesOnWithTheNextPortWhenACreationFails) {
  when("ltlsvc_lib_ifidx_to_di").call(1).returns(RCODE_INVALID);
  report(state_notice({port_state(ethernet(3), up, {10}), port_state(ethernet(4), up, {})}));
  expect(lines(received, reported(ethernet(3), 1), "ltlsvc_lib_ifidx_to_di(0x1a000003)",
               error_of("tesk_ifindex_to_kes_port", ":if_index_get_port failed for ifindex 0x1a000003\n"),
               error_of("tesk_create_port_context", ":Failed to retrieve Kestrix Port ID\n"),
               error_of(handler, ":TESK Port (0x1a000003) instance creation failed\n"),
               reported(ethernet(4), 1), created(4), changed, shadowed));
}

TEST_F(PortState, GoesOnWithTheNextPortAfterEachThatIsNotServed) {
  vorlund_platform = true;
  port_is_up(ethernet(7), {});
  when("tesk_delete_port_context").once().returns(6);
  report(state_notice({port_state(ethernet(5), up, {10}), port_state(ethernet(3), down, {}),
                       port_state(ethernet(3), 3, {}), port_state(ethernet(7), down, {}),
                       port_state(ethernet(7), up, {10})}));
  expect(lines(received, reported(ethernet(5), 1), converted(ethernet(5)),
               control_of("tesk_port_is_downlink_ifindex", ":IfIndex [0x1a000005] Uplink Port\n"),
               control_of(handler, ":Port (0x1a000005) is not downlink\n"), reported(ethernet(3), 2),
               downlink(3), error_of(handler, ":TESK Port (0x1a000003)DOWN and instance does not exist\n"),
               reported(ethernet(3), 3), downlink(3),
               error_of(handler, ":Not handling PHY_LINK_STATE_CHG:3 for port (0x1a000003)\n"),
               reported(ethernet(7), 2), downlink(7), shadowed, changed,
               error_of(handler, ":Failed to delete the port context:0x1a000007\n"), reported(ethernet(7), 1),
               downlink(7), exists(7), changed, activated(10, 1001), port_marked(), ltl_set(10, 0x80),
               vlan_marked(), shadowed));
}

TEST_F(PortState, UpTriesAgainAfterAFailedCreation) {
  fail_allocation(1);
  report(state_notice({port_state(ethernet(3), up, {})}));
  expect({received, reported(ethernet(3), 1),
          error_of(handler, ":TESK Port (0x1a000003) instance creation failed\n")});
  EXPECT_NE(port_is_up(ethernet(3), {}), nullptr);
}

TEST_F(PortState, NeverMakesAContextOfAnUplinkOnTheVorlundBoard) {
  vorlund_platform = true;
  for (const uint8_t link : {up, down}) {
    report(state_notice({port_state(ethernet(5), link, {10})}));
    expect(lines(received, reported(ethernet(5), link), converted(ethernet(5)),
                 control_of("tesk_port_is_downlink_ifindex", ":IfIndex [0x1a000005] Uplink Port\n"),
                 control_of(handler, ":Port (0x1a000005) is not downlink\n")));
  }
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(5)), nullptr);
}

TEST_F(PortState, OfAPortOnAsicPort40MovesNoBit) {
  port_is_up(ethernet(3), {10});
  report(state_notice({port_state(ethernet(40), up, {10})}));
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0x8u);
  EXPECT_EQ(shown_set(tesk_ifindex_hash_find(ethernet(40))->vlan_bmp), "{10 4095}");
  report(state_notice({port_state(ethernet(40), down, {}, {10})}));
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0x8u);
  ignore_rest();
}

TEST_F(PortState, ThatDoesNotParseIsAbandoned) {
  when("portsvc_parse_l2_protocol_state_change").returns(RCODE_CORRUPT);
  report(state_notice({port_state(ethernet(3), up, {10})}));
  expect(
      {received, error_of(handler, ": Failed to parse PORTSVC L2 Proto change notification rc=0x40010007 [" +
                                       std::string(rcode2str(RCODE_CORRUPT)) + "]\n")});
}

TEST_F(PortState, ThatNeitherParsesNorHasAPayloadSaysThatItDoesNotParse) {
  when("portsvc_parse_l2_protocol_state_change").returns(RCODE_NO_MEMORY);
  report({});
  expect(
      {received, error_of(handler, ": Failed to parse PORTSVC L2 Proto change notification rc=0x40010008 [" +
                                       std::string(rcode2str(RCODE_NO_MEMORY)) + "]\n")});
}

TEST_F(PortState, WithoutPayloadIsAbandoned) {
  report({});
  expect({received, error_of(handler, ": ifpld NULL when parsing msg\n")});
}

TEST_F(PortState, OfNoPortsIsNothing) {
  report(state_notice({}));
  expect({received});
}

Line cut_short(size_t length) {
  return error_of(handler, format(": QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE cut short: %u bytes\n",
                                  static_cast<uint32_t>(length)));
}

TEST_F(PortState, CutAnywhereIsAbandonedWhole) {
  const Bytes whole = state_notice({port_state(ethernet(3), up, {10}), port_state(ethernet(4), up, {10})});
  for (size_t length = 1; length < whole.size(); ++length) {
    report(cut(whole, length));
    expect({received, cut_short(length)});
  }
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
}

TEST_F(PortState, ThatClaimsMorePortsThanItHasIsAbandonedWhole) {
  const Bytes one = state_notice({port_state(ethernet(3), up, {10})});
  for (const uint32_t claim : {2u, 0x10000u, 0x7fffffffu, 0xffffffffu}) {
    Bytes notice = one;
    std::memcpy(notice.data(), &claim, sizeof claim);
    report(notice);
    expect({received, cut_short(notice.size())});
  }
}

TEST_F(PortState, IgnoresBytesBehindItsLastPort) {
  Bytes notice = state_notice({port_state(ethernet(3), up, {})});
  notice.resize(notice.size() + 7, 0xff);
  report(notice);
  expect(lines(received, reported(ethernet(3), 1), created(3), changed, shadowed));
}

TEST_F(PortState, TakesItsVlanSetsAs512BytesWhateverTheirSizeSays) {
  for (const int32_t size : {-1, 0, 511, 513, 0x7fffffff}) {
    portsvc_l2_port_state_t state = port_state(ethernet(3), up, {20, 4094}, {30});
    state.vlan_up_bmp.size = state.vlan_down_bmp.size = size;
    report(state_notice({state}));
    EXPECT_EQ(shown_set(tesk_ifindex_hash_find(ethernet(3))->shadow_vlan_bmp), "{20 4094}") << size;
    state.link_state = down;
    report(state_notice({state}));
    EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), nullptr) << size;
  }
  ignore_rest();
}

}  // namespace
