/* Variables that every file of the daemon shares: their values when the program starts. */
#include "tesk/tesk_common.h"

#include <gtest/gtest.h>

namespace {

// Read before any test runs.
const boolean vorlund_at_start = vorlund_platform;
const boolean relay_off_at_start = tesk_l2switch_disable;
const boolean heartbeat_sent_at_start = tesk_overseer_hbt_sent;

TEST(Process, BeginsOnTheStandardBoardWithItsRelayOnAndAHeartbeatToSend) {
  EXPECT_FALSE(vorlund_at_start);
  EXPECT_FALSE(relay_off_at_start);
  EXPECT_FALSE(heartbeat_sent_at_start);
}

TEST(SolVlan, IsTheLastOne) { EXPECT_EQ(sol_vlan, 4095); }

}  // namespace
