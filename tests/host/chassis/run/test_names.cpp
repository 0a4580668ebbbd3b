// Names, ranges and faults as people write them.
#include <gtest/gtest.h>

#include "host/chassis/base/vlan_set.h"
#include "host/chassis/control/trace_categories.h"
#include "host/chassis/endpoint/faults.h"
#include "host/chassis/model/interface_name.h"
#include "host/chassis/services/notices.h"
#include "tests/host/chassis/run/bench.h"

namespace chassis {
namespace {

TEST(InterfaceNames, are_found_in_every_spelling) {
  Fabric fabric([](AsicPort, auto) {}, [](auto) {});
  Description description = four_ports();
  description.port_channels.push_back({7, {FrontPort{2}}, {}});
  const ChassisState state(description, fabric, {});
  for (const char *text : {"3", "1/3", "ethernet 1/3", "ethernet1/3", "blade3"}) {
    EXPECT_EQ(std::get<IfIndex>(find_interface(state, text)), if_index(FrontPort{3})) << text;
  }
  EXPECT_EQ(std::get<IfIndex>(find_interface(state, "port-channel 7")), channel_index(7));
  for (const char *text :
       {"", "0", "21", "2/3", "blade9", "3x", "-1", "ethernet", "port-channel", "port-channel 8", "65539"}) {
    EXPECT_TRUE(std::holds_alternative<std::string>(find_interface(state, text))) << text;
  }
  EXPECT_TRUE(std::holds_alternative<std::string>(find_port(state, "port-channel 7")));
}

TEST(InterfaceNames, are_printed_as_people_write_them) {
  EXPECT_EQ(interface_name(IfIndex{26U << 24 | 2U}), "ethernet 1/3");
  EXPECT_EQ(interface_name(IfIndex{22U << 24 | 7U}), "port-channel 7");
  EXPECT_EQ(interface_name(IfIndex{5U << 24 | 1U}), "mgmt1");
  EXPECT_EQ(interface_name(IfIndex{0xFF000001}), "0xff000001");
}

TEST(VlanRanges, print_runs_and_survive_the_record) {
  VlanSet vlans;
  for (const std::size_t vlan : {1U, 2U, 3U, 7U, 4095U}) vlans.set(vlan);
  EXPECT_EQ(to_ranges(vlans), "1-3,7,4095");
  EXPECT_EQ(to_ranges(VlanSet{}), "");
  EXPECT_EQ(from_record(to_record(vlans)), vlans);
}

TEST(Notices, more_records_than_fit_go_in_several_messages) {
  std::vector<LinkRecord> records(300);
  for (std::uint32_t i = 0; i < records.size(); ++i) records[i].index = IfIndex{i};
  const auto messages = encode(records);
  ASSERT_EQ(messages.size(), 3U);
  std::uint32_t next = 0;
  for (const auto &payload : messages) {
    ASSERT_LE(payload.size(), bus::payload_limit);
    const auto decoded = bus::decode_l2_state_change(payload);
    ASSERT_TRUE(decoded);
    for (const auto &state : *decoded) EXPECT_EQ(state.ifindex, next++);
  }
  EXPECT_EQ(next, 300U);
  EXPECT_TRUE(encode(std::vector<LinkRecord>{}).empty());
}

TEST(Faults, wrong_words_are_refused_and_change_nothing) {
  FaultTable faults;
  EXPECT_NE(faults.set("bored", "refuse").find("no service is called \"bored\"; faults exist for board,"),
            std::string::npos);
  EXPECT_NE(faults.set("board", "explode"), "");
  EXPECT_NE(faults.set("board", "delay", std::chrono::milliseconds(0)), "");
  EXPECT_NE(faults.set("board", "delay", std::chrono::milliseconds(60'001)), "");
  EXPECT_EQ(faults.set_from_option("board"),
            "the fault \"board\" is not written as NAME=refuse or NAME=silent");
  EXPECT_TRUE(faults.active().empty());
  EXPECT_EQ(faults.set_from_option("board=silent"), "");
  EXPECT_EQ(faults.of("board").mode, FaultMode::silent);
  EXPECT_EQ(faults.set("board", "normal"), "");
  EXPECT_TRUE(faults.active().empty());
}

TEST(TraceCategories, have_names) {
  EXPECT_EQ(category_number("error"), 102U);
  EXPECT_FALSE(category_number("all"));
  EXPECT_EQ(category_name(100), "packet");
  EXPECT_EQ(category_name(7), "7");
}

}  // namespace
}  // namespace chassis
