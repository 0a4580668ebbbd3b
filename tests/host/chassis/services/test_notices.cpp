#include "host/chassis/services/notices.h"

#include <gtest/gtest.h>

namespace chassis {
namespace {

TEST(Notices, MoreRecordsThanFitGoInSeveralMessages) {
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

}  // namespace
}  // namespace chassis
