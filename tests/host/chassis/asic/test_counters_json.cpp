#include "host/chassis/asic/counters_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace chassis {
namespace {

PortCounters some_counters() {
  PortCounters counters{.rx = {1, 2}, .tx = {3, 4}};
  counters.dropped[static_cast<std::size_t>(DropReason::blocked)] = 5;
  return counters;
}

TEST(CountersAsJson, HaveBothDirectionsAndTheReasonsThatCounted) {
  EXPECT_EQ(as_json(some_counters(), DropsListed::counted_only).dump(),
            R"({"dropped":{"blocked":5},"rx":{"mcast":2,"ucast":1},"tx":{"mcast":4,"ucast":3}})");
  EXPECT_EQ(as_json(PortCounters{}, DropsListed::counted_only).at("dropped").dump(), "{}");
}

TEST(CountersAsJson, ListEveryReasonOnDemand) {
  const nlohmann::json dropped = as_json(some_counters(), DropsListed::all).at("dropped");
  EXPECT_EQ(dropped.size(), static_cast<std::size_t>(DropReason::count_));
  EXPECT_EQ(dropped.at("blocked"), 5);
  EXPECT_EQ(dropped.at("runt"), 0);
}

}  // namespace
}  // namespace chassis
