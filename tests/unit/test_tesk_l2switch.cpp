/* The relay: the forwarding decision, what is dropped and what is counted. */
#include "tesk/tesk_l2switch.h"

#include <cerrno>
#include <cstring>

#include "tesk/tesk_fib.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"
#include "tests/unit/daemon_test.h"
#include "tests/unit/frames.h"

namespace {

/** Blades on ASIC ports 3 and 4, members of the SoL VLAN (serial over LAN) and of CIN VLAN 100 (chassis
 * internal network), all forwarding. */
class Relay : public DaemonTest {
 protected:
  Relay() {
    bring_up_tables();
    sock_inband = first_socket;
    sock_mgmt = second_socket;
    std::strcpy(lnx_eth_if, "mgmt0");
    blade = plug(3);
    other = plug(4);
    tesk_vlan_hash_insert(100);
    tesk_port_add_vlan(&amm_mgmt_port, 100);
    for (const uint16_t vlan : {uint16_t{100}, uint16_t{4095}}) {
      tesk_vlan_hash_set_ltl(vlan, 0x18);
      tesk_vlan_hash_set_cbl(vlan, 0x18);
    }
    forget();
  }

  static tesk_port_t *plug(uint32_t port) {
    tesk_port_t *context = tesk_create_port_context(ethernet(port), port);
    tesk_port_add_vlan(context, 100);
    bitset_set_bit(&context->vlan_cbl_bmp, 100);
    bitset_set_bit(&context->vlan_cbl_bmp, 4095);
    return context;
  }

  static void learn(const Mac &mac, tesk_port_t *port) { tesk_fib_hash_insert(mac.data(), port, 100); }

  /** Lets the relay drain the management socket, which holds one frame. */
  static void from_management(const Bytes &frame) {
    arrives(second_socket, frame);
    EXPECT_EQ(tesk_rx_mgmt(), -1);
  }

  static void from_inband(const Bytes &frame) {
    arrives(first_socket, frame);
    EXPECT_EQ(tesk_rx_inband(), -1);
  }

  static Bytes behind(const Bytes &header, const Bytes &frame) {
    Bytes whole = header;
    whole.insert(whole.end(), frame.begin(), frame.end());
    return whole;
  }

  static Line rx_mgmt(const std::string &text) { return packet("tesk_rx_mgmt", "tesk_rx_mgmt:" + text); }
  static Line tx_inband(const std::string &text) {
    return packet("tesk_tx_inband", "tesk_tx_inband:" + text);
  }
  static Line rx_inband(const std::string &text) {
    return packet("tesk_rx_inband", "tesk_rx_inband:" + text);
  }
  static Line tx_mgmt(const std::string &text) { return packet("tesk_tx_mgmt", "tesk_tx_mgmt:" + text); }

  static void expect_counts(const tesk_port_stats_t &stats, uint32_t ucast, uint32_t mcast) {
    EXPECT_EQ(stats.ucast, ucast);
    EXPECT_EQ(stats.mcast, mcast);
  }

  const Line read_mgmt = "read(42, 2574)";
  const Line read_inband = "read(41, 2584)";
  const Bytes flood_100 = {0x93, 0x01, 0x06, 0x00, 0x40, 0, 0, 0, 0, 0};
  const Bytes port_3_100 = {0x91, 0x01, 0x02, 0x00, 0x40, 0, 0, 0, 0, 0};

  tesk_port_t *blade = nullptr;
  tesk_port_t *other = nullptr;
};

TEST_F(Relay, FloodsAFrameToAnUnknownStation) {
  const Bytes frame = tagged_frame(blade_mac, amm_mac, 100);
  from_management(frame);
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"), "write(41, 70)",
          tx_inband("Wrote 70 bytes (Req:70) for Flood LTL: 00018 [inb0]\n"), read_mgmt});
  ASSERT_EQ(written(41).size(), 1u);
  EXPECT_EQ(written(41)[0], behind(flood_100, frame));
  expect_counts(amm_mgmt_port.rx_stats, 1, 0);
  expect_counts(blade->tx_stats, 1, 0);
  expect_counts(other->tx_stats, 1, 0);
}

TEST_F(Relay, SendsAFrameToTheOnePortOfAKnownStation) {
  learn(blade_mac, blade);
  const Bytes frame = tagged_frame(blade_mac, amm_mac, 100);
  from_management(frame);
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"), "write(41, 70)",
          tx_inband("Wrote 70 bytes (Req:70) for LTL: 00008 [inb0]\n"), read_mgmt});
  ASSERT_EQ(written(41).size(), 1u);
  EXPECT_EQ(written(41)[0], behind(port_3_100, frame));
  expect_counts(blade->tx_stats, 1, 0);
  expect_counts(other->tx_stats, 0, 0);
}

TEST_F(Relay, FloodsABroadcastAndCountsItAsMulticast) {
  learn(broadcast_mac, blade);  // a group address is never looked up
  from_management(tagged_frame(broadcast_mac, amm_mac, 100));
  EXPECT_EQ(written(41).at(0).at(0), 0x93);
  expect_counts(amm_mgmt_port.rx_stats, 0, 1);
  expect_counts(blade->tx_stats, 0, 1);
  expect_counts(other->tx_stats, 0, 1);
  ignore_rest();
}

TEST_F(Relay, FloodsAMulticastAndCountsItAsMulticast) {
  from_management(tagged_frame(group_mac, amm_mac, 100));
  EXPECT_EQ(written(41).at(0).at(0), 0x93);
  expect_counts(blade->tx_stats, 0, 1);
  ignore_rest();
}

TEST_F(Relay, CarriesTheSolVlan) {
  const Bytes frame = tagged_frame(blade_mac, amm_mac, 4095);
  from_management(frame);
  EXPECT_EQ(written(41).at(0), behind({0xff, 0x3f, 0x06, 0x00, 0x40, 0, 0, 0, 0, 0}, frame));
  ignore_rest();
}

TEST_F(Relay, ClearsWhatAnEarlierFrameLeftInTheHeader) {
  std::memset(buf, 0xff, 10);
  const Bytes frame = tagged_frame(blade_mac, amm_mac, 100);
  from_management(frame);
  EXPECT_EQ(written(41).at(0), behind(flood_100, frame));
  ignore_rest();
}

TEST_F(Relay, CarriesTheLargestFrameThatFitsTheBuffer) {
  const Bytes frame = tagged_frame(blade_mac, amm_mac, 100, 2574);
  from_management(frame);
  EXPECT_EQ(written(41).at(0), behind(flood_100, frame));
  expect({read_mgmt, rx_mgmt("Read 2574 bytes on [mgmt0]\n"), "write(41, 2584)",
          tx_inband("Wrote 2584 bytes (Req:2584) for Flood LTL: 00018 [inb0]\n"), read_mgmt});
}

TEST_F(Relay, DropsAnUntaggedFrameFromTheManagementSideAndGoesOn) {
  arrives(42, untagged_frame(blade_mac, amm_mac));
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect({read_mgmt, rx_mgmt("Received untagged frame(ET:0x0800)\n"), read_mgmt,
          rx_mgmt("Read 60 bytes on [mgmt0]\n"), "write(41, 70)",
          tx_inband("Wrote 70 bytes (Req:70) for Flood LTL: 00018 [inb0]\n"), read_mgmt});
  expect_counts(amm_mgmt_port.rx_stats, 1, 0);
}

TEST_F(Relay, DropsAFrameOfAVlanThatNobodyConfigured) {
  from_management(tagged_frame(blade_mac, amm_mac, 101));
  expect({read_mgmt, rx_mgmt("Received traffic over non-SoL/CIN VLAN(101)\n"), read_mgmt});
  expect_counts(amm_mgmt_port.rx_stats, 0, 0);
}

TEST_F(Relay, TakesTheVlanFromTheLowTwelveBitsOfTheTag) {
  from_management(tagged_frame(blade_mac, amm_mac, 0));  // the upper bits of the tag are all set
  expect({read_mgmt, rx_mgmt("Received traffic over non-SoL/CIN VLAN(0)\n"), read_mgmt});
}

TEST_F(Relay, EndsTheDrainAtARuntAndLeavesTheRestForTheNextReadiness) {
  arrives(42, tagged_frame(blade_mac, amm_mac, 100, 59));
  arrives(42, tagged_frame(blade_mac, amm_mac, 100));
  EXPECT_EQ(tesk_rx_mgmt(), 59);
  expect({read_mgmt});
  EXPECT_EQ(waiting_frames(42), 1u);
}

TEST_F(Relay, EndsTheDrainAtAnEmptyFrame) {
  arrives(42, {});
  EXPECT_EQ(tesk_rx_mgmt(), 0);
  expect({read_mgmt});
}

TEST_F(Relay, DrainsEverythingThatWaits) {
  for (int i = 0; i < 5; ++i) arrives(42, tagged_frame(blade_mac, amm_mac, 100));
  EXPECT_EQ(tesk_rx_mgmt(), -1);
  EXPECT_EQ(written(41).size(), 5u);
  EXPECT_EQ(count_of(read_mgmt), 6u);
  ignore_rest();
}

TEST_F(Relay, DropsAFrameToAStationBehindAPortThatIsBlocked) {
  learn(blade_mac, blade);
  bitset_clear_bit(&blade->vlan_cbl_bmp, 100);
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"),
          tx_inband("Port-VLAN[1a000003-100] CBL BLK, not forwarding\n"), read_mgmt});
  EXPECT_TRUE(written(41).empty());
  expect_counts(amm_mgmt_port.rx_stats, 1, 0);
  expect_counts(blade->tx_stats, 0, 0);
}

TEST_F(Relay, LeavesABlockedPortOutOfAFlood) {
  tesk_vlan_hash_set_cbl(100, 0x08);
  from_management(tagged_frame(other_mac, amm_mac, 100));
  EXPECT_EQ(written(41).at(0).at(2), 0x02) << "ASIC port 3 alone";
  expect_counts(blade->tx_stats, 1, 0);
  expect_counts(other->tx_stats, 0, 0);
  ignore_rest();
}

TEST_F(Relay, CountsAFloodOnNoPortBelowThoseThatGetIt) {
  tesk_vlan_hash_set_cbl(100, 0x10);
  from_management(tagged_frame(other_mac, amm_mac, 100));
  expect_counts(blade->tx_stats, 0, 0);
  expect_counts(other->tx_stats, 1, 0);
  ignore_rest();
}

TEST_F(Relay, DropsAFloodThatNoPortWouldGet) {
  tesk_vlan_hash_set_cbl(100, 0);
  forget();
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"),
          tx_inband("Failed to retrieve LTL for vlan [100]\n"), read_mgmt});
}

TEST_F(Relay, FloodsAVlanThatIsAcceptedButNotInTheTableToEveryPort) {
  tesk_port_add_vlan(&amm_mgmt_port, 200);
  const Bytes frame = tagged_frame(blade_mac, amm_mac, 200);
  from_management(frame);
  EXPECT_EQ(written(41).at(0), behind({0x23, 0xc3, 0xff, 0xff, 0x43, 0, 0, 0, 0, 0}, frame));
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"), "write(41, 70)",
          tx_inband("Wrote 70 bytes (Req:70) for Flood LTL: ffffffff [inb0]\n"), read_mgmt});
  expect_counts(blade->tx_stats, 1, 0);
  expect_counts(other->tx_stats, 1, 0);
}

TEST_F(Relay, CountsAFloodOnceOnEachPortThatHasAContextBelowTwenty) {
  tesk_vlan_hash_set_ltl(100, 0xffffffff);
  tesk_vlan_hash_set_cbl(100, 0xfff80018);  // ports 3, 4, 19 and everything above
  tesk_port_t *last = plug(19);
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect_counts(blade->tx_stats, 1, 0);
  expect_counts(other->tx_stats, 1, 0);
  expect_counts(last->tx_stats, 1, 0);
  ignore_rest();
}

TEST_F(Relay, FloodsToAKnownStationWhosePortHasNoAsicPort) {
  learn(blade_mac, blade);
  blade->kestrix_port = 255;
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"),
          tx_inband("Could not retrieve HW port number for ifindex [0x1a000003]\n"), "write(41, 70)",
          tx_inband("Wrote 70 bytes (Req:70) for Flood LTL: 00018 [inb0]\n"), read_mgmt});
}

TEST_F(Relay, DropsAFrameToABlockedPortThatHasNoAsicPortEither) {
  learn(blade_mac, blade);
  blade->kestrix_port = 255;
  bitset_clear_bit(&blade->vlan_cbl_bmp, 100);
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"),
          tx_inband("Port-VLAN[1a000003-100] CBL BLK, not forwarding\n"), read_mgmt});
}

TEST_F(Relay, ReturnsNothingSentForADroppedFrameAndHasOnlyBegunItsHeader) {
  const Bytes begun = {0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes frame = tagged_frame(blade_mac, amm_mac, 100);
  Bytes whole = behind(Bytes(10, 0xff), frame);
  tesk_vlan_hash_set_cbl(100, 0);
  forget();
  EXPECT_EQ(tesk_tx_inband(100, whole.data(), 60), 0);
  expect({tx_inband("Failed to retrieve LTL for vlan [100]\n")});
  EXPECT_EQ(whole, behind(begun, frame));

  whole = behind(Bytes(10, 0xff), frame);
  learn(blade_mac, blade);
  bitset_clear_bit(&blade->vlan_cbl_bmp, 100);
  EXPECT_EQ(tesk_tx_inband(100, whole.data(), 60), 0);
  expect({tx_inband("Port-VLAN[1a000003-100] CBL BLK, not forwarding\n")});
  EXPECT_EQ(whole, behind(begun, frame));
}

TEST_F(Relay, SendsWhatItIsGivenInTheVlanThatItIsTold) {
  const Bytes frame = tagged_frame(other_mac, amm_mac, 200);
  Bytes whole = behind(Bytes(10), frame);
  EXPECT_EQ(tesk_tx_inband(100, whole.data(), 60), 70);
  EXPECT_EQ(written(41).at(0), behind(flood_100, frame));
  ignore_rest();
}

TEST_F(Relay, TracesAShortInterfaceIndexWithZerosOnlyWhereItSaysWhatIsBlocked) {
  blade->if_idx = 0x5000007;
  learn(blade_mac, blade);
  bitset_clear_bit(&blade->vlan_cbl_bmp, 100);
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  EXPECT_EQ(count_of(tx_inband("Port-VLAN[05000007-100] CBL BLK, not forwarding\n")), 1u);
  bitset_set_bit(&blade->vlan_cbl_bmp, 100);
  blade->kestrix_port = 255;
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  EXPECT_EQ(count_of(tx_inband("Could not retrieve HW port number for ifindex [0x5000007]\n")), 1u);
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 101)));
  EXPECT_EQ(count_of(rx_inband(" Ingress Port[0x5000007] is not a member of VLAN[101]\n")), 1u);
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  EXPECT_EQ(count_of(rx_inband(" Received Frame (70 bytes) on Port [0x5000007] over VLAN:100\n")), 1u);
  ignore_rest();
}

TEST_F(Relay, CountsInThirtyTwoBits) {
  blade->tx_stats.ucast = 0xffff;
  other->tx_stats.ucast = 0xffffffff;
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect_counts(blade->tx_stats, 0x10000, 0);
  expect_counts(other->tx_stats, 0, 0);
  ignore_rest();
}

TEST_F(Relay, CountsAFloodOnAPortChannelForEachOfItsPorts) {
  kes_port_map[4] = blade;
  from_management(tagged_frame(other_mac, amm_mac, 100));
  expect_counts(blade->tx_stats, 2, 0);
  expect_counts(other->tx_stats, 0, 0);
  ignore_rest();
}

TEST_F(Relay, GivesAnAsicPortOfThirtyTwoOrMoreNoBit) {
  learn(blade_mac, blade);
  for (const uint8_t port : {uint8_t{32}, uint8_t{254}}) {
    blade->kestrix_port = port;
    from_management(tagged_frame(blade_mac, amm_mac, 100));
    EXPECT_EQ(written(41).back().at(2), 0) << "not a bit that wrapped around";
    EXPECT_EQ(count_of(tx_inband("Wrote 70 bytes (Req:70) for LTL: 00000 [inb0]\n")), 1u);
    forget();
  }
}

TEST_F(Relay, CountsAFailedWriteToTheAsicAs65535BytesSent) {
  when("write").returns(-1).with_errno(ENETDOWN);
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"), "write(41, 70)",
          tx_inband("Wrote 65535 bytes (Req:70) for Flood LTL: 00018 [inb0]\n"), read_mgmt});
  expect_counts(blade->tx_stats, 1, 0);
}

TEST_F(Relay, TracesAWriteToTheAsicThatTookNothing) {
  when("write").returns(0).with_errno(ENOBUFS);
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  expect({read_mgmt, rx_mgmt("Read 60 bytes on [mgmt0]\n"), "write(41, 70)",
          tx_inband("Wrote 0 bytes (Req:70) for LTL: 00018 [inb0]:err(105)\n"), read_mgmt});
  expect_counts(blade->tx_stats, 0, 0);
}

TEST_F(Relay, ReturnsTheLowSixteenBitsOfAWrite) {
  Bytes whole = behind(Bytes(10), tagged_frame(blade_mac, amm_mac, 100));
  EXPECT_EQ(tesk_tx_inband(100, whole.data(), 60), 70);
  when("write").returns(-1);
  EXPECT_EQ(tesk_tx_inband(100, whole.data(), 60), 65535);
  EXPECT_EQ(tesk_tx_mgmt(whole.data() + 10, 60), 65535);
  when("write").returns(65536);
  EXPECT_EQ(tesk_tx_inband(100, whole.data(), 60), 0);
  EXPECT_EQ(tesk_tx_mgmt(whole.data() + 10, 60), 0);
  ignore_rest();
}

TEST_F(Relay, PassesAMembersFrameUpWithoutItsHeader) {
  const Bytes frame = tagged_frame(amm_mac, blade_mac, 100);
  from_inband(from_asic(3, frame));
  expect({read_inband, rx_inband(" Received Frame (70 bytes) on Port [0x1a000003] over VLAN:100\n"),
          "write(42, 60)", tx_mgmt("Wrote 60 bytes, Req 60 bytes [mgmt0]\n"), read_inband});
  ASSERT_EQ(written(42).size(), 1u);
  EXPECT_EQ(written(42)[0], frame) << "still tagged";
  expect_counts(blade->rx_stats, 1, 0);
  expect_counts(amm_mgmt_port.tx_stats, 1, 0);
}

TEST_F(Relay, LearnsTheSourceOfAFrameThatItPassesUp) {
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  EXPECT_EQ(tesk_fib_hash_lookup(blade_mac.data(), 100), blade);
  from_inband(from_asic(4, tagged_frame(amm_mac, blade_mac, 100)));
  EXPECT_EQ(tesk_fib_hash_lookup(blade_mac.data(), 100), other);
  ignore_rest();
}

TEST_F(Relay, PassesAFrameUpThatItHasNoMemoryToLearnFrom) {
  fail_allocation(1);
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  EXPECT_EQ(written(42).size(), 1u);
  EXPECT_EQ(tesk_fib_hash_lookup(blade_mac.data(), 100), nullptr);
  ignore_rest();
}

TEST_F(Relay, CountsAGroupFrameFromABladeAsMulticast) {
  from_inband(from_asic(3, tagged_frame(broadcast_mac, blade_mac, 100)));
  expect_counts(blade->rx_stats, 0, 1);
  expect_counts(amm_mgmt_port.tx_stats, 0, 1);
  ignore_rest();
}

TEST_F(Relay, PassesUpWhatABlockedMemberSends) {
  bitset_clear_bit(&blade->vlan_cbl_bmp, 100);
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  EXPECT_EQ(written(42).size(), 1u);
  ignore_rest();
}

TEST_F(Relay, TakesTheVlanFromTheFramesTagNotFromTheHeader) {
  Bytes whole = from_asic(3, tagged_frame(amm_mac, blade_mac, 100));
  whole[4] = static_cast<uint8_t>(whole[4] | 0xf8);
  whole[5] = 0x7f;  // the header says VLAN 4095
  from_inband(whole);
  EXPECT_EQ(count_of(rx_inband(" Received Frame (70 bytes) on Port [0x1a000003] over VLAN:100\n")), 1u);
  ignore_rest();
}

TEST_F(Relay, EndsTheInbandDrainAtLessThanSeventyBytes) {
  arrives(41, from_asic(3, tagged_frame(amm_mac, blade_mac, 100, 59)));
  arrives(41, from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  EXPECT_EQ(tesk_rx_inband(), 69);
  expect({read_inband});
  EXPECT_EQ(waiting_frames(41), 1u);
}

TEST_F(Relay, DropsAnUntaggedFrameFromTheAsic) {
  from_inband(from_asic(3, untagged_frame(amm_mac, blade_mac)));
  expect({read_inband, rx_inband("Received untagged frame(0x 800)\n"), read_inband});
}

TEST_F(Relay, DropsAFrameWithoutCe) {
  Bytes whole = from_asic(3, tagged_frame(amm_mac, blade_mac, 100));
  whole[1] = 0xfe;
  from_inband(whole);
  expect({read_inband, rx_inband("Received Non-CE frame, dropping it [inb0]\n"), read_inband});
}

TEST_F(Relay, DropsAFrameWithoutTagsPresent) {
  Bytes whole = from_asic(3, tagged_frame(amm_mac, blade_mac, 100));
  whole[2] = 0xdf;
  from_inband(whole);
  expect({read_inband, rx_inband("Received Untagged frame, dropping it [inb0]\n"), read_inband});
}

TEST_F(Relay, DropsAFrameFromAPortWithoutAContext) {
  from_inband(from_asic(5, tagged_frame(amm_mac, blade_mac, 100)));
  expect({read_inband, rx_inband(" Failed to lookup port context for Kestrix port[5]\n"), read_inband});
  EXPECT_EQ(tesk_fib_hash_lookup(blade_mac.data(), 100), nullptr);
}

TEST_F(Relay, DropsAFrameFromAPortNumberThatNoPortHas) {
  for (const uint8_t port : {uint8_t{20}, uint8_t{31}}) {
    from_inband(from_asic(port, tagged_frame(amm_mac, blade_mac, 100)));
    expect({read_inband,
            rx_inband(" Failed to lookup port context for Kestrix port[" + std::to_string(port) + "]\n"),
            read_inband});
  }
}

TEST_F(Relay, DropsAFrameOfAVlanThatItsPortIsNotAMemberOf) {
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 101)));
  expect({read_inband, rx_inband(" Ingress Port[0x1a000003] is not a member of VLAN[101]\n"), read_inband});
  EXPECT_EQ(tesk_fib_hash_lookup(blade_mac.data(), 101), nullptr);
  expect_counts(blade->rx_stats, 0, 0);
}

/* The test corrects one fault after the other; the last one left is the VLAN. */
TEST_F(Relay, NamesTheFirstOfAFramesFaults) {
  Bytes whole = from_asic(20, untagged_frame(amm_mac, blade_mac));
  whole[1] = whole[2] = 0;
  from_inband(whole);
  whole[22] = 0x81;
  from_inband(whole);
  whole[1] = 0x01;
  from_inband(whole);
  whole[2] = 0x20;
  from_inband(whole);
  whole[3] = 0xc0;
  whole[4] = 0x00;
  from_inband(whole);
  expect({read_inband, rx_inband("Received untagged frame(0x 800)\n"), read_inband,                      //
          read_inband, rx_inband("Received Non-CE frame, dropping it [inb0]\n"), read_inband,            //
          read_inband, rx_inband("Received Untagged frame, dropping it [inb0]\n"), read_inband,          //
          read_inband, rx_inband(" Failed to lookup port context for Kestrix port[20]\n"), read_inband,  //
          read_inband, rx_inband(" Ingress Port[0x1a000003] is not a member of VLAN[3599]\n"), read_inband});
  expect_counts(blade->rx_stats, 0, 0);
}

TEST_F(Relay, CountsAFailedWriteToTheManagementDeviceAs65535BytesSent) {
  when("write").returns(-1).with_errno(ENETDOWN);
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  EXPECT_EQ(count_of(tx_mgmt("Wrote 65535 bytes, Req 60 bytes [mgmt0]\n")), 1u);
  expect_counts(amm_mgmt_port.tx_stats, 1, 0);
  ignore_rest();
}

TEST_F(Relay, TracesAWriteToTheManagementDeviceThatTookNothing) {
  when("write").returns(0).with_errno(ENOBUFS);
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  expect_end({"write(42, 60)", tx_mgmt("Wrote 0 bytes, Req 60 bytes [mgmt0]:err(105)\n"), read_inband});
  EXPECT_EQ(tesk_fib_hash_lookup(blade_mac.data(), 100), blade);
  expect_counts(blade->rx_stats, 1, 0);
  expect_counts(amm_mgmt_port.tx_stats, 0, 0);
}

TEST_F(Relay, AllocatesNothingForAKnownStation) {
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  const size_t before = live_blocks();
  fail_allocation(1);
  from_inband(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  from_management(tagged_frame(blade_mac, amm_mac, 100));
  EXPECT_EQ(live_blocks(), before);
  fail_allocation(0);
  ignore_rest();
}

}  // namespace
