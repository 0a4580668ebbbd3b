#include "opal/bitset.h"

#include <gtest/gtest.h>

#include <string>

namespace {

vlan_bitset_t set_of(std::initializer_list<uint32_t> bits) {
  vlan_bitset_t set{VLAN_BITSET_BYTES, {}};
  for (const uint32_t bit : bits) bitset_set_bit(&set, bit);
  return set;
}

TEST(Bitset, BitNIsBitNModulo8OfByteNDividedBy8) {
  const vlan_bitset_t set = set_of({0, 9, 4095});
  EXPECT_EQ(set.bits[0], 0x01);
  EXPECT_EQ(set.bits[1], 0x02);
  EXPECT_EQ(set.bits[511], 0x80);
}

TEST(Bitset, BitsOutsideAreNeverSet) {
  struct {
    vlan_bitset_t set{VLAN_BITSET_BYTES, {}};
    uint8_t behind = 0;
  } memory;
  bitset_set_bit(&memory.set, 4096);
  bitset_set_bit(&memory.set, 0xffffffff);
  EXPECT_EQ(memory.behind, 0);
  EXPECT_EQ(bitset_first_bit(&memory.set), -1);
  EXPECT_EQ(bitset_is_bit_set(&memory.set, 4096), 0);
  memory.set.size = -4;
  bitset_set_bit(&memory.set, 0);
  EXPECT_EQ(memory.set.bits[0], 0);
}

TEST(Bitset, ClearsOneBitAndAll) {
  vlan_bitset_t set = set_of({3, 4});
  bitset_clear_bit(&set, 3);
  EXPECT_EQ(bitset_is_bit_set(&set, 3), 0);
  EXPECT_EQ(bitset_is_bit_set(&set, 4), 1);
  bitset_clear(&set);
  EXPECT_EQ(bitset_first_bit(&set), -1);
  EXPECT_EQ(set.size, VLAN_BITSET_BYTES);
}

TEST(Bitset, WalksInAscendingOrder) {
  const vlan_bitset_t set = set_of({4095, 100, 7, 8});
  EXPECT_EQ(bitset_first_bit(&set), 7);
  EXPECT_EQ(bitset_next_bit(&set, 7), 8);
  EXPECT_EQ(bitset_next_bit(&set, 8), 100);
  EXPECT_EQ(bitset_next_bit(&set, 100), 4095);
  EXPECT_EQ(bitset_next_bit(&set, 4095), -1);
  EXPECT_EQ(bitset_next_bit(&set, -1), 7);
}

TEST(Bitset, KnowsAFreeRange) {
  const vlan_bitset_t set = set_of({100});
  EXPECT_EQ(bitset_is_range_free(&set, 1, 99), 1);
  EXPECT_EQ(bitset_is_range_free(&set, 100, 100), 0);
  EXPECT_EQ(bitset_is_range_free(&set, 1, 4095), 0);
  EXPECT_EQ(bitset_is_range_free(&set, 101, 0xffffffff), 1);
}

TEST(Bitset, CopiesTheCommonBytesAndClearsTheRest) {
  struct {
    int32_t size = 2;
    uint8_t bits[2] = {0xff, 0xff};
  } small;
  vlan_bitset_t large = set_of({0, 100});
  bitset_copy(&large, &small);
  EXPECT_EQ(bitset_next_bit(&large, 15), -1);
  EXPECT_EQ(bitset_is_bit_set(&large, 15), 1);
  EXPECT_EQ(large.size, VLAN_BITSET_BYTES);
  large = set_of({1, 9, 100});
  bitset_copy(&small, &large);
  EXPECT_EQ(small.bits[0], 0x02);
  EXPECT_EQ(small.bits[1], 0x02);
}

std::string print_all(const vlan_bitset_t &set, size_t size) {
  std::string text;
  std::string buffer(size, 'x');
  int done = 0;
  for (int first = 1; !done; first = 0) {
    const int length = bitset_snprintf(buffer.data(), size, &set, first, &done);
    EXPECT_EQ(std::string(buffer.c_str()).size(), static_cast<size_t>(length));
    text += buffer.c_str();
  }
  return text;
}

TEST(Bitset, PrintsRanges) {
  EXPECT_EQ(print_all(set_of({}), 128), "");
  EXPECT_EQ(print_all(set_of({0}), 128), "0");
  EXPECT_EQ(print_all(set_of({1, 2, 3, 7, 4094, 4095}), 128), "1-3,7,4094-4095");
}

TEST(Bitset, PrintsALongTextInChunksOfWholeRanges) {
  vlan_bitset_t set = set_of({});
  std::string expected;
  for (uint32_t bit = 1; bit < 4095; bit += 3) {
    bitset_set_bit(&set, bit);
    bitset_set_bit(&set, bit + 1);
    expected += (bit > 1 ? "," : "") + std::to_string(bit) + "-" + std::to_string(bit + 1);
  }
  EXPECT_EQ(print_all(set, 16), expected);
  EXPECT_EQ(print_all(set, 128), expected);
  std::string chunk(16, 'x');
  int done = 1;
  EXPECT_EQ(bitset_snprintf(chunk.data(), chunk.size(), &set, 1, &done), 11);
  EXPECT_STREQ(chunk.c_str(), "1-2,4-5,7-8");
  EXPECT_EQ(done, 0);
}

}  // namespace
