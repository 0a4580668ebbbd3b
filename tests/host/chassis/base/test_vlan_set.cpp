#include "host/chassis/base/vlan_set.h"

#include <gtest/gtest.h>

namespace chassis {
namespace {

TEST(VlanRanges, PrintRunsAndSurviveTheRecord) {
  VlanSet vlans;
  for (const std::size_t vlan : {1U, 2U, 3U, 7U, 4095U}) vlans.set(vlan);
  EXPECT_EQ(to_ranges(vlans), "1-3,7,4095");
  EXPECT_EQ(to_ranges(VlanSet{}), "");
  EXPECT_EQ(from_record(to_record(vlans)), vlans);
}

}  // namespace
}  // namespace chassis
