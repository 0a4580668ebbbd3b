/* The ranges of VLANs that a command could not serve. */
#include "tesk/tesk_cli.h"
#include "tests/unit/tables.h"

namespace {

using Ranges = std::vector<std::pair<uint32_t, uint32_t>>;

class MultiRange : public DaemonTest {
 protected:
  static uint32_t low_word(const void *pointer) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer));
  }

  Ranges built_from(const std::vector<uint32_t> &vlans) {
    const vlan_bitset_t set = vlan_set(vlans);
    EXPECT_TRUE(tesk_build_vlan_mrange(&set, &range));
    EXPECT_EQ(range.size, 0u);
    Ranges ranges;
    for (uint32_t i = 0; i < range.range_count; ++i)
      ranges.emplace_back(range.range[i].lower_int, range.range[i].upper_int);
    return ranges;
  }

  cush_int_multi_range_t range = {.size = 7, .range_count = 7, .range = {{7, 7}}};
};

TEST_F(MultiRange, HasOneEntryForEachRun) {
  EXPECT_EQ(built_from({}), Ranges{});
  EXPECT_EQ(range.range[0].lower_int, 0u);
  EXPECT_EQ(built_from({1, 3, 4, 5, 100}), (Ranges{{1, 1}, {3, 5}, {100, 100}}));
  EXPECT_EQ(built_from({4093, 4094}), (Ranges{{4093, 4094}}));
}

TEST_F(MultiRange, NeverLooksAtVlanZero) { EXPECT_EQ(built_from({0, 1}), (Ranges{{1, 1}})); }

TEST_F(MultiRange, DoesNotCountARunThatReachesTheLastVlan) {
  EXPECT_EQ(built_from({10, 4094, 4095}), (Ranges{{10, 10}}));
  EXPECT_EQ(range.range[1].lower_int, 4094u);
  EXPECT_EQ(range.range[1].upper_int, 0u);
}

TEST_F(MultiRange, EndsWithItsSixtyFourthEntry) {
  struct {
    cush_int_multi_range_t range;
    uint32_t guard[4] = {0xa5a5a5a5, 0xa5a5a5a5, 0xa5a5a5a5, 0xa5a5a5a5};
  } bounded{};
  std::vector<uint32_t> odd;
  for (uint32_t vlan = 1; vlan < 4096; vlan += 2) odd.push_back(vlan);
  for (const size_t runs : {64u, 65u, 2048u}) {
    const vlan_bitset_t set = vlan_set({odd.begin(), odd.begin() + static_cast<ptrdiff_t>(runs)});
    EXPECT_TRUE(tesk_build_vlan_mrange(&set, &bounded.range));
    EXPECT_EQ(bounded.range.range_count, 64u);
    EXPECT_EQ(bounded.range.range[63].upper_int, 127u);
    for (const uint32_t word : bounded.guard) EXPECT_EQ(word, 0xa5a5a5a5u);
  }
}

TEST_F(MultiRange, IsNotBuiltFromOrIntoNothing) {
  const vlan_bitset_t set = vlan_set({1});
  EXPECT_FALSE(tesk_build_vlan_mrange(nullptr, nullptr));
  expect({error("tesk_build_vlan_mrange", "Invalid argument: vlan_bmp_p = 0x0, mrange_p = 0x0\n")});
  const char *const builder = "tesk_build_vlan_mrange";
  EXPECT_FALSE(tesk_build_vlan_mrange(nullptr, &range));
  expect({error(builder, format("Invalid argument: vlan_bmp_p = 0x0, mrange_p = 0x%x\n", low_word(&range)))});
  EXPECT_FALSE(tesk_build_vlan_mrange(&set, nullptr));
  expect({error(builder, format("Invalid argument: vlan_bmp_p = 0x%x, mrange_p = 0x0\n", low_word(&set)))});
  EXPECT_EQ(range.range_count, 7u);
}

TEST_F(MultiRange, IsNotAttachedToOrFromNothing) {
  EXPECT_FALSE(tesk_set_failed_mrange(nullptr, nullptr));
  expect({error("tesk_set_failed_mrange", "Invalid argument: hndl = 0x0, rej_mrange_p = 0x0\n")});
  EXPECT_FALSE(tesk_set_failed_mrange(nullptr, &range));
  expect({error("tesk_set_failed_mrange",
                format("Invalid argument: hndl = 0x0, rej_mrange_p = 0x%x\n", low_word(&range)))});
  uint64_t somewhere = 0;
  auto *handle = reinterpret_cast<cmd_rx_handle_t *>(&somewhere);
  EXPECT_FALSE(tesk_set_failed_mrange(handle, nullptr));
  expect({error("tesk_set_failed_mrange",
                format("Invalid argument: hndl = 0x%x, rej_mrange_p = 0x0\n", low_word(handle)))});
}

}  // namespace
