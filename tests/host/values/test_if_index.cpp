#include "opal/if_index.h"

#include <gtest/gtest.h>

#include <array>

namespace {

std::string printed(if_index_t if_index) {
  std::array<char, 64> buffer{};
  return snprintf_if_index(buffer.data(), buffer.size(), if_index);
}

TEST(IfIndex, EncodesTypeSlotAndPort) {
  if_index_t index = 0;
  EXPECT_EQ(if_index_phy_ethernet_init(&index, 1, 2, 0), RCODE_SUCCESS);
  EXPECT_EQ(index, 0x1a010002u);
  EXPECT_EQ(if_index_port_channel_init(&index, 7), RCODE_SUCCESS);
  EXPECT_EQ(index, 0x16000007u);
  EXPECT_EQ(if_index_mgmt_sup_port_init(&index, 0, 1), RCODE_SUCCESS);
  EXPECT_EQ(index, 0x05000001u);
}

TEST(IfIndex, PrintsAsPeopleWrite) {
  EXPECT_EQ(printed(0x1a000002), "ethernet 1/3");
  EXPECT_EQ(printed(0x16000007), "port-channel 7");
  EXPECT_EQ(printed(0x05000000), "mgmt0");
  EXPECT_EQ(printed(0x77000000), "interface 0x77000000");
  std::array<char, 9> small{};
  EXPECT_STREQ(snprintf_if_index(small.data(), small.size(), 0x1a000002), "ethernet");
}

TEST(IfIndex, RefusesWhatIsNotOfTheType) {
  if_index_t index = 99;
  uint32_t number = 99;
  if_index_type_t type = 99;
  EXPECT_EQ(if_index_get_type(0x77000000, &type), RCODE_INVALID);
  EXPECT_EQ(if_index_get_port(0x16000007, &number), RCODE_INVALID);
  EXPECT_EQ(if_index_port_channel_get_channel_num(0x1a000002, &number), RCODE_INVALID);
  EXPECT_EQ(if_index_phy_ethernet_init(&index, 0, 0, 1), RCODE_INVALID);
  EXPECT_EQ(if_index_phy_ethernet_init(&index, 256, 0, 0), RCODE_INVALID);
  EXPECT_EQ(if_index_phy_ethernet_init(&index, 0, 65536, 0), RCODE_INVALID);
  EXPECT_EQ(if_index_port_channel_init(&index, 0), RCODE_INVALID);
  EXPECT_EQ(if_index_port_channel_init(&index, 4097), RCODE_INVALID);
  EXPECT_EQ(index, 99u);
  EXPECT_EQ(number, 99u);
  EXPECT_EQ(type, 99u);
}

TEST(IfIndex, WalksARange) {
  const if_index_range_t range{0x1a000002, 0x1a000004};
  EXPECT_EQ(if_index_get_num_ports_in_if_index_range(&range), 3u);
  if_index_t index = 0;
  EXPECT_EQ(if_index_get_if_index_in_range(&range, 2, &index), RCODE_SUCCESS);
  EXPECT_EQ(index, 0x1a000004u);
  EXPECT_EQ(if_index_get_if_index_in_range(&range, 3, &index), RCODE_INVALID);
}

TEST(IfIndex, ARangeWhoseEndsDoNotBelongTogetherIsEmpty) {
  for (const if_index_range_t range :
       {if_index_range_t{0x1a000004, 0x1a000002}, if_index_range_t{0x1a000002, 0x1a010002},
        if_index_range_t{0x16000001, 0x1a000001}, if_index_range_t{0, 0xffffffff}}) {
    EXPECT_EQ(if_index_get_num_ports_in_if_index_range(&range), 0u);
    if_index_t index = 0;
    EXPECT_EQ(if_index_get_if_index_in_range(&range, 0, &index), RCODE_INVALID);
  }
}

TEST(Rcode, EveryCodeHasAText) {
  EXPECT_STREQ(rcode2str(RCODE_SUCCESS), "success");
  for (rcode_t code = RCODE_TIMED_OUT; code <= RCODE_REFUSED; ++code)
    EXPECT_STRNE(rcode2str(code), "unknown result code") << code;
  EXPECT_STREQ(rcode2str(5), "unknown result code");
}

}  // namespace
