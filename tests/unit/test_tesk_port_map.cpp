/* Interface index to ASIC port, the downlink test, and the map from ASIC ports to contexts. */
#include <set>

#include "tests/unit/tables.h"

namespace {

const char *const converter = "tesk_ifindex_to_kes_port";
const char *const channel_look_up = "chanagg_get_member_fop_ifindex";

Lines channel_resolved(uint32_t channel, uint32_t member) {
  return lines(format("chanagg_get_pc_info(0x%x)", port_channel(channel)),
               control_of(channel_look_up,
                          format(":PC IfIndex [0x%x], FOP IfIndex[0x%x]\n", port_channel(channel), member)));
}

Lines not_converted(uint32_t if_index) {
  return lines(format("ltlsvc_lib_ifidx_to_di(0x%x)", if_index),
               error_of(converter, format(":if_index_get_port failed for ifindex 0x%x\n", if_index)));
}

class AsicPort : public TablesTest {};

TEST_F(AsicPort, OfAPhysicalPortIsItsDestinationIndex) {
  EXPECT_EQ(tesk_ifindex_to_kes_port(ethernet(17)), 17);
  expect(converted(ethernet(17)));
}

TEST_F(AsicPort, IsTheDestinationIndexCutToAByte) {
  when("ltlsvc_lib_ifidx_to_di").gives(0x12345605);
  EXPECT_EQ(tesk_ifindex_to_kes_port(ethernet(3)), 5);
  expect({"ltlsvc_lib_ifidx_to_di(0x1a000003)",
          control(converter, "tesk_ifindex_to_kes_port:IfIndex [0x1a000003], Kestrix Port[5]\n")});
}

TEST_F(AsicPort, OfAShortIndexIsTracedWithoutZeros) {
  channel_has(7, 0x5000002, {});
  EXPECT_EQ(tesk_ifindex_to_kes_port(port_channel(7)), 2);
  expect(lines(channel_resolved(7, 0x5000002), converted(0x5000002)));
  when("ltlsvc_lib_ifidx_to_di").returns(RCODE_INVALID);
  EXPECT_EQ(tesk_ifindex_to_kes_port(0x5000002), 255);
  expect(not_converted(0x5000002));
}

TEST_F(AsicPort, OfAnIndexOfUnknownTypeIsNone) {
  EXPECT_EQ(tesk_ifindex_to_kes_port(0x99000001), 255);
  EXPECT_EQ(tesk_ifindex_to_kes_port(0x7), 255);
  expect({error(converter, "Invalid interface index 0x99000001\n"),
          error(converter, "Invalid interface index 0x00000007\n")});
}

TEST_F(AsicPort, IsNoneWhenThePortIndexServiceFails) {
  when("ltlsvc_lib_ifidx_to_di").returns(RCODE_TIMED_OUT);
  EXPECT_EQ(tesk_ifindex_to_kes_port(ethernet(3)), 255);
  expect(not_converted(ethernet(3)));
}

TEST_F(AsicPort, OfAPortChannelIsThatOfItsFirstOperationalPort) {
  channel_has(7, ethernet(5), {ethernet(4), ethernet(5)});
  EXPECT_EQ(tesk_ifindex_to_kes_port(port_channel(7)), 5);
  expect(lines(channel_resolved(7, ethernet(5)), converted(ethernet(5))));
}

TEST_F(AsicPort, OfAnUnknownPortChannelIsNone) {
  when("chanagg_get_pc_info").returns(RCODE_TIMED_OUT);
  EXPECT_EQ(tesk_ifindex_to_kes_port(port_channel(7)), 255);
  expect({"chanagg_get_pc_info(0x16000007)",
          error_of(channel_look_up, ":chanagg_get_pc_info failed for 0x16000007, rc:0x40010001\n")});
}

TEST_F(AsicPort, OfAPortChannelWithoutAnOperationalPortIsNone) {
  channel_has(7, 0, {ethernet(4)});
  EXPECT_EQ(tesk_ifindex_to_kes_port(port_channel(7)), 255);
  expect({"chanagg_get_pc_info(0x16000007)",
          error_of(channel_look_up, ":chanagg_get_pc_info for 0x16000007 returned fop:0\n")});
}

TEST_F(AsicPort, OfAPortChannelIsNoneWhenItsOperationalPortHasNone) {
  channel_has(7, ethernet(5), {ethernet(5)});
  when("ltlsvc_lib_ifidx_to_di").returns(RCODE_INVALID);
  EXPECT_EQ(tesk_ifindex_to_kes_port(port_channel(7)), 255);
  expect(lines(channel_resolved(7, ethernet(5)), not_converted(ethernet(5))));
}

class Downlink : public TablesTest {};

TEST_F(Downlink, IsEveryPortOfTheStandardBoard) {
  for (uint32_t port = 0; port < 256; ++port)
    EXPECT_TRUE(tesk_port_is_downlink_kes(static_cast<uint8_t>(port)));
  EXPECT_TRUE(tesk_port_is_downlink_ifindex(ethernet(4)));
  EXPECT_TRUE(tesk_port_is_downlink_ifindex(0x99000001)) << "an index that cannot be converted, too";
  expect({});
}

TEST_F(Downlink, IsEveryPortOfTheVorlundBoardButSix) {
  vorlund_platform = true;
  const std::set<uint32_t> uplinks = {4, 5, 6, 14, 15, 16};
  for (uint32_t port = 0; port < 256; ++port) {
    EXPECT_EQ(tesk_port_is_downlink_kes(static_cast<uint8_t>(port)), uplinks.contains(port) ? 0u : 1u)
        << port;
  }
}

TEST_F(Downlink, IsToldByTheConvertedIndexOnTheVorlundBoard) {
  vorlund_platform = true;
  EXPECT_TRUE(tesk_port_is_downlink_ifindex(ethernet(3)));
  EXPECT_FALSE(tesk_port_is_downlink_ifindex(ethernet(4)));
  const char *const test = "tesk_port_is_downlink_ifindex";
  expect(lines(converted(ethernet(3)), control_of(test, ":IfIndex [0x1a000003] Downlink Port\n"),
               converted(ethernet(4)), control_of(test, ":IfIndex [0x1a000004] Uplink Port\n")));
}

TEST_F(Downlink, IsDeniedToAsicPort255OnTheVorlundBoard) {
  vorlund_platform = true;
  EXPECT_FALSE(tesk_port_is_downlink_ifindex(ethernet(255)));
  expect(lines(
      converted(ethernet(255)),
      error_of("tesk_port_is_downlink_ifindex", ":Failed to derive Kestrix port for ifindex 0x1a0000ff\n")));
}

TEST_F(Downlink, IsToldOfAShortIndexWithoutZeros) {
  vorlund_platform = true;
  const char *const test = "tesk_port_is_downlink_ifindex";
  EXPECT_TRUE(tesk_port_is_downlink_ifindex(0x5000003));
  expect(lines(converted(0x5000003), control_of(test, ":IfIndex [0x5000003] Downlink Port\n")));
  EXPECT_FALSE(tesk_port_is_downlink_ifindex(0x7));
  expect({error("tesk_ifindex_to_kes_port", "Invalid interface index 0x00000007\n"),
          error_of(test, ":Failed to derive Kestrix port for ifindex 0x7\n")});
}

TEST_F(Downlink, IsDeniedToAnIndexThatCannotBeConvertedOnTheVorlundBoard) {
  vorlund_platform = true;
  when("ltlsvc_lib_ifidx_to_di").returns(RCODE_INVALID);
  EXPECT_FALSE(tesk_port_is_downlink_ifindex(ethernet(3)));
  expect(lines(
      not_converted(ethernet(3)),
      error_of("tesk_port_is_downlink_ifindex", ":Failed to derive Kestrix port for ifindex 0x1a000003\n")));
}

/** A context of a port-channel or of a port, in no table. */
class PortMap : public TablesTest {
 protected:
  ~PortMap() override { std::free(port); }

  void channel_of(uint32_t first_operational, const std::vector<uint32_t> &members) {
    std::free(port);
    port = loose_port(port_channel(7), 5);
    channel_has(7, first_operational, members);
  }

  std::vector<uint32_t> mapped() const {
    std::vector<uint32_t> slots;
    for (uint32_t i = 0; i < TESK_ASIC_PORTS; ++i)
      if (kes_port_map[i] == port) slots.push_back(i);
    return slots;
  }

  std::vector<uint32_t> members() const {
    return {port->pc_member_list, port->pc_member_list + port->pc_member_count};
  }

  tesk_port_t *port = loose_port(ethernet(19), 19);
};

using Numbers = std::vector<uint32_t>;

TEST_F(PortMap, PointsAtThePortOnItsAsicPort) {
  EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
  EXPECT_EQ(mapped(), Numbers{19});
  EXPECT_EQ(tesk_kes_port_to_port_context(19), port);
  EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  EXPECT_EQ(mapped(), Numbers{});
  expect({});
}

TEST_F(PortMap, HasNoSlotForAnAsicPortAboveNineteen) {
  for (const uint8_t number : std::initializer_list<uint8_t>{20, 31, 32, 254, 255}) {
    port->kestrix_port = number;
    EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
    EXPECT_EQ(tesk_kes_port_to_port_context(number), nullptr);
    EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  }
  EXPECT_EQ(mapped(), Numbers{});
  expect({});
}

TEST_F(PortMap, PointsAtAPortChannelOnEachOfItsMembers) {
  channel_of(ethernet(5), {ethernet(5), ethernet(2), ethernet(9)});
  EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
  expect(lines("chanagg_get_pc_info(0x16000007)", converted(ethernet(5)), converted(ethernet(2)),
               converted(ethernet(9))));
  EXPECT_EQ(members(), (Numbers{5, 2, 9}));
  EXPECT_EQ(mapped(), (Numbers{2, 5, 9}));
  EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  EXPECT_EQ(mapped(), Numbers{});
  expect({});
}

TEST_F(PortMap, KeepsAMemberAboveNineteenInTheListOnly) {
  channel_of(ethernet(5), {ethernet(5), ethernet(20), ethernet(200)});
  EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
  EXPECT_EQ(members(), (Numbers{5, 20, 200}));
  EXPECT_EQ(mapped(), Numbers{5});
  EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  EXPECT_EQ(mapped(), Numbers{});
  ignore_rest();
}

TEST_F(PortMap, IsLeftAloneWhenTheMembersAreUnknown) {
  channel_of(ethernet(5), {ethernet(5)});
  when("chanagg_get_pc_info").returns(RCODE_UNAVAILABLE);
  EXPECT_FALSE(tesk_setup_kes_to_port_map(port));
  expect({"chanagg_get_pc_info(0x16000007)",
          error_of("tesk_setup_kes_to_port_map",
                   ":chanagg_get_pc_info failed for 0x16000007, rc:0x40010002\n")});
  EXPECT_EQ(mapped(), Numbers{});
}

TEST_F(PortMap, KeepsTwoMembersWhenTheThirdHasNoAsicPort) {
  channel_of(ethernet(5), {ethernet(5), ethernet(6), ethernet(7), ethernet(8)});
  when("ltlsvc_lib_ifidx_to_di").call(3).returns(RCODE_INVALID);
  EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
  expect(lines("chanagg_get_pc_info(0x16000007)", converted(ethernet(5)), converted(ethernet(6)),
               not_converted(ethernet(7)),
               error_of("tesk_setup_kes_to_port_map", ":tesk_ifindex_to_kes_port failed for 0x16000007\n")));
  EXPECT_EQ(members(), (Numbers{5, 6}));
  EXPECT_EQ(mapped(), (Numbers{5, 6}));
}

TEST_F(PortMap, StopsAtAMemberOnAsicPort255) {
  channel_of(ethernet(5), {ethernet(5), ethernet(255), ethernet(8)});
  EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
  expect(lines("chanagg_get_pc_info(0x16000007)", converted(ethernet(5)), converted(ethernet(255)),
               error_of("tesk_setup_kes_to_port_map", ":tesk_ifindex_to_kes_port failed for 0x16000007\n")));
  EXPECT_EQ(members(), Numbers{5});
}

/** Ports 0, 1, 2 … */
Numbers ports(uint32_t count) {
  Numbers all;
  for (uint32_t i = 0; i < count; ++i) all.push_back(ethernet(i % TESK_ASIC_PORTS));
  return all;
}

TEST_F(PortMap, KeepsSixteenMembersOfALargerPortChannel) {
  for (const uint32_t count : {16u, 17u, 32u, 33u, 300u}) {
    channel_of(ethernet(0), ports(count));
    EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
    EXPECT_EQ(port->pc_member_count, 16) << count;
    EXPECT_EQ(mapped().size(), 16u) << count;
    EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  }
  ignore_rest();
}

TEST_F(PortMap, LooksAtSixteenMembersWhateverCountAContextHas) {
  channel_of(ethernet(0), {});
  port->pc_member_count = 255;
  EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  expect({});
}

TEST_F(PortMap, IsClearedWithoutAskingWhoseSlotItIs) {
  tesk_port_t other{};
  kes_port_map[19] = &other;
  EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  EXPECT_EQ(kes_port_map[19], nullptr);

  channel_of(ethernet(5), {ethernet(5), ethernet(6)});
  EXPECT_TRUE(tesk_setup_kes_to_port_map(port));
  kes_port_map[6] = &other;
  EXPECT_TRUE(tesk_remove_kes_to_port_map(port));
  EXPECT_EQ(kes_port_map[6], nullptr);
  ignore_rest();
}

}  // namespace
