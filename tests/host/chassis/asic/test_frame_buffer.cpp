#include "host/chassis/asic/frame_buffer.h"

#include <gtest/gtest.h>

#include "tests/host/chassis/asic/frames.h"

namespace chassis {
namespace {

using test::bytes;
using test::operator+;

TEST(FrameBuffer, ATagIsPutBetweenTheAddressesAndTheType) {
  FrameBuffer buffer;
  const auto addresses = bytes({1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 16});
  const auto untagged = addresses + bytes({0x08, 0x06, 0x77});
  std::copy(untagged.begin(), untagged.end(), buffer.untagged_place().begin());
  insert_tag(buffer.tagged_place(), 0xefff);
  const auto expected = addresses + bytes({0x81, 0x00, 0xef, 0xff, 0x08, 0x06, 0x77});
  const auto frame = buffer.tagged_place().first(expected.size());
  EXPECT_EQ(test::Bytes(frame.begin(), frame.end()), expected);
  EXPECT_TRUE(has_tag(frame));
  EXPECT_EQ(tag_vlan(frame).value, 4095);
}

TEST(FrameBuffer, AShortFrameIsPaddedWithZerosWhateverStoodThereBefore) {
  FrameBuffer buffer;
  std::fill(buffer.tagged_place().begin(), buffer.tagged_place().end(), std::byte{0xee});
  const auto finished = buffer.finish(46);
  ASSERT_EQ(finished.size(), asic_header_bytes + wire_frame_min);
  EXPECT_EQ(finished[asic_header_bytes + 45], std::byte{0xee});
  EXPECT_EQ(finished[asic_header_bytes + 46], std::byte{0});
  EXPECT_EQ(finished.back(), std::byte{0});
}

TEST(FrameBuffer, ARuntStaysARuntAndALongFrameStaysAsItIs) {
  FrameBuffer buffer;
  EXPECT_EQ(buffer.finish(17).size(), asic_header_bytes + 17);
  EXPECT_EQ(buffer.finish(1522).size(), asic_header_bytes + 1522);
}

}  // namespace
}  // namespace chassis
