#include "host/chassis/kernel_module/klm_records.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace chassis {
namespace {

constexpr std::uint32_t known_index = 0x1a000002;

template <typename Record>
std::span<const std::byte> bytes_of(const Record &record) {
  return std::as_bytes(std::span(&record, 1));
}

teskk_port_list_t one_port() {
  teskk_port_list_t list{};
  list.port_cnt = 1;
  list.port_lst[0].if_idx = known_index;
  list.port_lst[0].kestrix_port = 2;
  list.port_lst[0].vlan_cnt = 1;
  list.port_lst[0].vlan_lst[0] = {4095, 1};
  return list;
}

teskk_vlan_list_t vlans_from(std::uint16_t first, std::uint16_t count) {
  teskk_vlan_list_t list{};
  list.vlan_cnt = count;
  for (std::uint16_t i = 0; i < count && i < TESKK_VLANS; ++i)
    list.vlan_lst[i] = {static_cast<std::uint16_t>(first + i), 5};
  return list;
}

struct KlmRecordsTest : testing::Test {
  int ports(const teskk_port_list_t &list) {
    return records.write(TESKK_ADD_OR_UPDATE_PORTS, bytes_of(list));
  }
  int vlans(const teskk_vlan_list_t &list) {
    return records.write(TESKK_ADD_OR_UPDATE_VLANS, bytes_of(list));
  }
  int delete_vlan(std::uint16_t vlan) { return records.write(TESKK_DEL_VLAN, bytes_of(vlan)); }
  int delete_port(std::uint32_t port) { return records.write(TESKK_DEL_PORT, bytes_of(port)); }

  KlmRecords records{[](IfIndex index) { return index.value == known_index; }};
};

TEST_F(KlmRecordsTest, SoundRecordsAreMirroredAndReplaced) {
  auto list = one_port();
  EXPECT_EQ(ports(list), 0);
  list.port_lst[0].vlan_lst[0].cbl_fwd = 0;
  EXPECT_EQ(ports(list), 0);
  ASSERT_EQ(records.mirror().ports.size(), 1U);
  EXPECT_EQ(records.mirror().ports.at({known_index}).vlan_lst[0].cbl_fwd, 0);
  EXPECT_EQ(vlans(vlans_from(3, 15)), 0);
  EXPECT_EQ(records.mirror().vlans.size(), 15U);
  EXPECT_EQ(records.mirror().vlans.at({17}).ltl_cbl, 5U);
}

TEST_F(KlmRecordsTest, EmptyListsAreTaken) {
  EXPECT_EQ(ports({}), 0);
  EXPECT_EQ(vlans({}), 0);
}

TEST_F(KlmRecordsTest, CountsOutOfRangeAreRefused) {
  auto list = one_port();
  list.port_cnt = 22;
  EXPECT_EQ(ports(list), EINVAL);
  list = one_port();
  for (auto &vlan : list.port_lst[0].vlan_lst) vlan.vlan = 100;
  list.port_lst[1].if_idx = 100;  // a sixteenth entry would be read from here
  list.port_lst[0].vlan_cnt = 16;
  EXPECT_EQ(ports(list), EINVAL);
  EXPECT_EQ(vlans(vlans_from(3, 16)), EINVAL);
  EXPECT_TRUE(records.mirror().ports.empty());
  EXPECT_TRUE(records.mirror().vlans.empty());
}

TEST_F(KlmRecordsTest, VlansOutOfRangeAreRefused) {
  auto list = one_port();
  for (const int vlan : {0, 4096}) {
    list.port_lst[0].vlan_lst[0].vlan = static_cast<std::uint16_t>(vlan);
    EXPECT_EQ(ports(list), EINVAL) << vlan;
  }
  EXPECT_EQ(vlans(vlans_from(0, 1)), EINVAL);
  EXPECT_EQ(vlans(vlans_from(4096, 1)), EINVAL);
  EXPECT_EQ(delete_vlan(0), EINVAL);
  EXPECT_EQ(delete_vlan(4096), EINVAL);
}

TEST_F(KlmRecordsTest, UnknownPortsAreRefused) {
  auto list = one_port();
  list.port_lst[0].if_idx = known_index + 1;
  EXPECT_EQ(ports(list), EINVAL);
  list = one_port();
  list.port_lst[0].kestrix_port = asic_ports;
  EXPECT_EQ(ports(list), EINVAL);
}

TEST_F(KlmRecordsTest, OneBadRecordRefusesTheWholeList) {
  EXPECT_EQ(vlans(vlans_from(4094, 3)), EINVAL);
  EXPECT_TRUE(records.mirror().vlans.empty());
}

TEST_F(KlmRecordsTest, OnlyWhatIsThereCanBeDeleted) {
  EXPECT_EQ(delete_vlan(100), ENOENT);
  EXPECT_EQ(delete_port(known_index), ENOENT);
  vlans(vlans_from(100, 1));
  ports(one_port());
  EXPECT_EQ(delete_vlan(100), 0);
  EXPECT_EQ(delete_port(known_index), 0);
  EXPECT_EQ(delete_vlan(100), ENOENT);
  EXPECT_EQ(delete_port(known_index), ENOENT);
}

TEST_F(KlmRecordsTest, ShortRecordsAndUnknownRequestsAreRefused) {
  const auto list = one_port();
  EXPECT_EQ(records.write(TESKK_ADD_OR_UPDATE_PORTS, bytes_of(list).first(1431)), EINVAL);
  EXPECT_EQ(records.write(TESKK_DEL_VLAN, {}), EINVAL);
  EXPECT_EQ(records.write(0x1234, bytes_of(list)), ENOTTY);
}

TEST_F(KlmRecordsTest, ForgettingEmptiesBothTables) {
  vlans(vlans_from(100, 1));
  ports(one_port());
  records.forget();
  EXPECT_TRUE(records.mirror().vlans.empty());
  EXPECT_TRUE(records.mirror().ports.empty());
}

}  // namespace
}  // namespace chassis
