#include "host/chassis/asic/fabric.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/host/chassis/asic/frames.h"

namespace chassis {
namespace {

using test::bytes;
using test::from_host_header;
using test::tagged_frame;
using test::operator+;

constexpr VlanId cin{100};

struct FabricTest : testing::Test {
  FabricTest() {
    for (const std::uint8_t number : std::initializer_list<std::uint8_t>{0, 3, 19}) {
      PortState &port = fabric.port({number});
      port.present = port.link_up = true;
      port.allowed.set(cin.value).set(sol_vlan.value);
      port.forwarding.set(cin.value);
    }
    fabric.classify(cin, true);
  }

  void enter(std::uint8_t port, const test::Bytes &frame) {
    test::Bytes buffer = bytes({9, 9, 9, 9, 9, 9, 9, 9, 9, 9}) + frame;
    fabric.from_wire({port}, buffer);
  }

  std::uint64_t wire_drops(std::uint8_t port, DropReason reason) {
    return fabric.counters({port}).dropped[static_cast<std::size_t>(reason)];
  }
  std::uint64_t cpu_drops(DropReason reason) {
    return fabric.cpu_counters().dropped[static_cast<std::size_t>(reason)];
  }

  std::vector<std::pair<int, test::Bytes>> wire;
  std::vector<test::Bytes> cpu;
  Fabric fabric{[this](AsicPort port, auto frame) {
                  wire.emplace_back(port.value, test::Bytes(frame.begin(), frame.end()));
                },
                [this](auto frame) { cpu.emplace_back(frame.begin(), frame.end()); }};
};

TEST_F(FabricTest, AFrameOfAClassifiedVlanGoesToTheCpuBehindItsToHostHeader) {
  enter(19, tagged_frame(100));
  // CE; tag present; ingress 19 = 0b10011; VLAN 100 = 0b000001100100
  const auto header = bytes({0, 0x01, 0x20, 0xc0, 0x24, 0x03, 0, 0, 0, 0});
  ASSERT_EQ(cpu.size(), 1U);
  EXPECT_EQ(cpu[0], header + tagged_frame(100));
  EXPECT_EQ(fabric.counters({19}).rx.ucast, 1U);
  EXPECT_EQ(fabric.cpu_counters().tx.ucast, 1U);
}

TEST_F(FabricTest, SolNeedsNoClassification) {
  enter(3, tagged_frame(4095, true));
  ASSERT_EQ(cpu.size(), 1U);
  EXPECT_EQ(fabric.counters({3}).rx.mcast, 1U);
  EXPECT_EQ(fabric.cpu_counters().tx.mcast, 1U);
}

TEST_F(FabricTest, AFrameOfAVlanThatNobodyAskedForIsAdmittedAndDropped) {
  fabric.classify(cin, false);
  enter(3, tagged_frame(100));
  EXPECT_TRUE(cpu.empty());
  EXPECT_EQ(fabric.counters({3}).rx.ucast, 1U);
  EXPECT_EQ(wire_drops(3, DropReason::not_classified), 1U);
}

TEST_F(FabricTest, WhatAPortDoesNotAdmitIsCountedThereUnderItsReason) {
  struct Row {
    const char *what;
    test::Bytes frame;
    DropReason reason;
  };
  test::Bytes untagged = tagged_frame(100);
  untagged[12] = std::byte{0x08};
  const Row rows[] = {
      {"shorter than a tagged header", tagged_frame(100, false, 17), DropReason::runt},
      {"one byte too long", tagged_frame(100, false, wire_frame_max + 1), DropReason::oversize},
      {"no tag", untagged, DropReason::untagged},
      {"another VLAN", tagged_frame(101), DropReason::vlan_not_allowed},
      {"VLAN 0", tagged_frame(0), DropReason::vlan_not_allowed}};
  for (const Row &row : rows) {
    enter(3, row.frame);
    EXPECT_EQ(wire_drops(3, row.reason),
              row.reason == DropReason::vlan_not_allowed && row.frame[15] == std::byte{0} ? 2U : 1U)
        << row.what;
  }
  EXPECT_EQ(fabric.counters({3}).rx.ucast, 0U);
  EXPECT_TRUE(cpu.empty());
}

TEST_F(FabricTest, TheLongestFrameIsAdmitted) {
  enter(3, tagged_frame(100, false, wire_frame_max));
  EXPECT_EQ(cpu.size(), 1U);
}

TEST_F(FabricTest, APortThatIsDownOrNotThereAdmitsNothing) {
  fabric.port({3}).link_up = false;
  enter(3, tagged_frame(100));
  EXPECT_EQ(wire_drops(3, DropReason::link_down), 1U);
  enter(7, tagged_frame(100));
  EXPECT_EQ(wire_drops(7, DropReason::no_such_port), 1U);
  EXPECT_TRUE(cpu.empty());
}

TEST_F(FabricTest, ABlockedPortStillAdmits) {
  fabric.port({3}).forwarding.reset();
  enter(3, tagged_frame(100));
  EXPECT_EQ(cpu.size(), 1U);
}

TEST_F(FabricTest, AFrameFromTheCpuLeavesOnEveryPortOfItsLtl) {
  fabric.from_cpu(from_host_header(1U << 0 | 1U << 19) + tagged_frame(100));
  ASSERT_EQ(wire.size(), 2U);
  EXPECT_EQ(wire[0], std::pair(0, tagged_frame(100)));
  EXPECT_EQ(wire[1], std::pair(19, tagged_frame(100)));
  EXPECT_EQ(fabric.counters({0}).tx.ucast, 1U);
  EXPECT_EQ(fabric.counters({19}).tx.ucast, 1U);
  EXPECT_EQ(fabric.counters({3}).tx.ucast, 0U);
  EXPECT_EQ(fabric.cpu_counters().rx.ucast, 1U);
}

TEST_F(FabricTest, EachPortOfTheLtlThatDoesNotSendIsCountedUnderItsReason) {
  fabric.port({0}).forwarding.reset(cin.value);
  fabric.port({3}).link_up = false;
  fabric.port({19}).allowed.reset(cin.value);
  fabric.from_cpu(from_host_header(1U << 0 | 1U << 3 | 1U << 7 | 1U << 19) + tagged_frame(100, true));
  EXPECT_TRUE(wire.empty());
  for (const DropReason reason :
       {DropReason::blocked, DropReason::link_down, DropReason::vlan_not_allowed, DropReason::no_such_port})
    EXPECT_EQ(cpu_drops(reason), 1U) << drop_name(reason);
  EXPECT_EQ(fabric.cpu_counters().rx.mcast, 1U);
}

TEST_F(FabricTest, SolIsNeverBlocked) {
  fabric.port({0}).forwarding.reset();
  fabric.from_cpu(from_host_header(1, 4095) + tagged_frame(4095));
  EXPECT_EQ(wire.size(), 1U);
}

TEST_F(FabricTest, AnEmptyLtlNamesNoPort) {
  fabric.from_cpu(from_host_header(0) + tagged_frame(100));
  EXPECT_EQ(cpu_drops(DropReason::no_such_port), 1U);
}

TEST_F(FabricTest, AHeaderWithoutCeOrTagOrOfAnotherVlanIsBad) {
  auto no_ce = from_host_header(1);
  no_ce[0] &= std::byte{0xfe};
  auto no_tag = from_host_header(1);
  no_tag[4] &= std::byte{0xbf};
  for (const auto &header : {no_ce, no_tag, from_host_header(1, 101)})
    fabric.from_cpu(header + tagged_frame(100));
  EXPECT_EQ(cpu_drops(DropReason::bad_header), 3U);
  EXPECT_TRUE(wire.empty());
}

TEST_F(FabricTest, MalformedFramesFromTheCpuAreCounted) {
  auto untagged = tagged_frame(100);
  untagged[13] = std::byte{1};
  fabric.from_cpu(bytes({1, 2, 3}));
  fabric.from_cpu(from_host_header(1));
  fabric.from_cpu(from_host_header(1) + untagged);
  fabric.from_cpu(from_host_header(1) + tagged_frame(100, false, wire_frame_max + 1));
  EXPECT_EQ(cpu_drops(DropReason::runt), 2U);
  EXPECT_EQ(cpu_drops(DropReason::untagged), 1U);
  EXPECT_EQ(cpu_drops(DropReason::oversize), 1U);
  EXPECT_TRUE(wire.empty());
}

TEST_F(FabricTest, ForgettingTheCpuEndsItsClassificationsAndLtls) {
  fabric.allocate_ltl(cin, true);
  EXPECT_TRUE(fabric.ltl_allocated()[100]);
  fabric.forget_cpu();
  EXPECT_TRUE(fabric.classified().none());
  EXPECT_TRUE(fabric.ltl_allocated().none());
  EXPECT_TRUE(fabric.port({0}).allowed[100]);
}

}  // namespace
}  // namespace chassis
