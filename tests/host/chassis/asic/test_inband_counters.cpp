#include "host/chassis/asic/inband_counters.h"

#include <gtest/gtest.h>

#include "tests/host/chassis/asic/frames.h"

namespace chassis {
namespace {

using test::bytes;
using test::from_host_header;
using test::tagged_frame;
using test::operator+;

TEST(InbandCounters, AFrameFromTheDaemonCountsOnEveryPortOfItsLtl) {
  InbandCounters counters;
  counters.from_daemon(from_host_header(0x80005) + tagged_frame(100, true));
  for (const std::uint8_t port : std::initializer_list<std::uint8_t>{0, 2, 19})
    EXPECT_EQ(counters.port({port}).tx.mcast, 1U) << int{port};
  EXPECT_EQ(counters.port({1}).tx.mcast, 0U);
  EXPECT_EQ(counters.port({0}).tx.ucast, 0U);
}

TEST(InbandCounters, AFrameToTheDaemonCountsOnItsIngressPort) {
  InbandCounters counters;
  counters.to_daemon(bytes({0, 1, 0x20, 0xc0, 0x04, 0, 0, 0, 0, 0}) + tagged_frame(100));  // ingress 0b10011
  EXPECT_EQ(counters.port({19}).rx.ucast, 1U);
}

TEST(InbandCounters, AHeaderWithoutAFrameAndAnIngressBeyondThePortsCountNowhere) {
  InbandCounters counters;
  counters.from_daemon(from_host_header(0xfffff));
  counters.from_daemon(bytes({1}));
  counters.to_daemon(bytes({0, 1, 0x20, 0xc0, 0x07, 0, 0, 0, 0, 0}) + tagged_frame(100));  // ingress 31
  for (std::uint8_t port = 0; port < asic_ports; ++port) {
    EXPECT_EQ(counters.port({port}).tx.ucast, 0U);
    EXPECT_EQ(counters.port({port}).rx.ucast, 0U);
  }
}

TEST(InbandCounters, TheManagementDeviceCountsBothDirections) {
  InbandCounters counters;
  counters.management_to_daemon(tagged_frame(100));
  counters.management_from_daemon(tagged_frame(100, true));
  counters.management_from_daemon({});
  EXPECT_EQ(counters.management().rx.ucast, 1U);
  EXPECT_EQ(counters.management().tx.mcast, 1U);
  EXPECT_EQ(counters.management().tx.ucast, 0U);
}

}  // namespace
}  // namespace chassis
