/* Synchronisation: which dirty records are pushed to the kernel module, and when. */
#include <cerrno>
#include <vector>

#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/daemon_test.h"

namespace {

/** Contexts and entries in their tables, all clean. */
class Synchronisation : public DaemonTest {
 protected:
  Synchronisation() { bring_up_tables(); }

  static tesk_port_t *plug(uint32_t number) {
    tesk_port_t *context = tesk_create_port_context(ethernet(number), number);
    tesk_krnl_do_sync();
    forget();
    return context;
  }
};

TEST_F(Synchronisation, DoesNothingWhenNothingIsDirty) {
  EXPECT_EQ(tesk_krnl_do_sync(), 0u);
  expect({control("tesk_krnl_do_sync", "\n")});
}

TEST_F(Synchronisation, OfPortsPushesAnEmptyListWhenNothingIsDirty) {
  EXPECT_EQ(tesk_krnl_sync_port(), 0u);
  expect({control("tesk_krnl_sync_port", "\n"), control("tesk_port_get_dirty_list", "\n"),
          control("tesk_krnl_add_or_update_ports", "\n"), "ioctl(31, add_or_update_ports, {})"});
}

TEST_F(Synchronisation, ReturnsThatPortsOrVlansCannotBeGathered) {
  when("tesk_port_get_dirty_list").returns(5);
  when("tesk_vlan_get_dirty_list").returns(5);
  dirty_port_count = dirty_vlan_count = 1;
  EXPECT_EQ(tesk_krnl_do_sync(), 5u);
  expect({control("tesk_krnl_do_sync", "\n"), control("tesk_krnl_sync_port", "\n"),
          error("tesk_krnl_sync_port", "Failed to retrieve dirty port list")});
  EXPECT_EQ(tesk_krnl_sync_vlan(), 5u);
  expect({control("tesk_krnl_sync_vlan", "\n"),
          error("tesk_krnl_sync_vlan", "Failed to retrieve dirty vlan list")});
  EXPECT_EQ(dirty_port_count, 1u);
  EXPECT_EQ(dirty_vlan_count, 1u);
}

TEST_F(Synchronisation, PushesPortsBeforeVlansAndResetsTheCounts) {
  tesk_port_t *context = plug(3);
  tesk_krnl_port_info_dirty(context);
  tesk_vlan_hash_set_cbl(4095, 0x8);
  forget();
  EXPECT_EQ(tesk_krnl_do_sync(), 0u);
  expect_apart_from_control({"ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [4095 blk]})",
                             "ioctl(31, add_or_update_vlans, {4095 ports 0x8})"});
  EXPECT_FALSE(context->is_dirty);
  EXPECT_EQ(dirty_port_count, 0);
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(Synchronisation, GathersBucketByBucketTheNewestFirst) {
  for (const uint32_t number : {33u, 2u, 1u, 65u}) plug(number);
  for (const uint32_t number : {33u, 2u, 1u, 65u})
    tesk_krnl_port_info_dirty(tesk_ifindex_hash_find(ethernet(number)));
  forget();
  EXPECT_EQ(tesk_krnl_do_sync(), 0u);
  expect_apart_from_control(
      {"ioctl(31, add_or_update_ports, {0x1a000041 type 26 asic 65 [4095 blk]; "
       "0x1a000001 type 26 asic 1 [4095 blk]; 0x1a000021 type 26 asic 33 [4095 blk]; "
       "0x1a000002 type 26 asic 2 [4095 blk]})"});
}

TEST_F(Synchronisation, ReportsACountThatDoesNotMatchAndMendsIt) {
  tesk_port_t *context = plug(3);
  tesk_krnl_port_info_dirty(context);
  tesk_vlan_hash_set_cbl(4095, 0x8);
  dirty_port_count = 3;
  dirty_vlan_count = 4;
  forget();
  EXPECT_EQ(tesk_krnl_do_sync(), 0u);
  expect_apart_from_control({error("tesk_krnl_sync_port", "Dirty Port List count inconsistency:1/3\n"),
                             "ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [4095 blk]})",
                             error("tesk_krnl_sync_vlan", "Dirty Vlan List count inconsistency:1/4\n"),
                             "ioctl(31, add_or_update_vlans, {4095 ports 0x8})"});
  EXPECT_EQ(dirty_port_count, 0);
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(Synchronisation, CountsTheManagementPortButNeverGathersIt) {
  amm_mgmt_port.is_dirty = false;
  tesk_krnl_port_info_dirty(&amm_mgmt_port);
  EXPECT_EQ(dirty_port_count, 1);
  forget();
  EXPECT_EQ(tesk_krnl_do_sync(), 0u);
  expect_apart_from_control(
      {error("Dirty Port List count inconsistency:0/1\n"), "ioctl(31, add_or_update_ports, {})"});
  EXPECT_TRUE(amm_mgmt_port.is_dirty);
  EXPECT_EQ(dirty_port_count, 0);
}

TEST_F(Synchronisation, TakesAFailedPushOfPortsAsDelivered) {
  tesk_port_t *context = plug(3);
  tesk_krnl_port_info_dirty(context);
  tesk_vlan_hash_set_cbl(4095, 0x8);
  forget();
  when("ioctl").once().returns(-1).with_errno(EIO);
  EXPECT_EQ(tesk_krnl_do_sync(), 0u);
  expect_apart_from_control({"ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [4095 blk]})",
                             error("tesk_krnl_add_or_update_ports", "ioctl failure: 5\n"),
                             "ioctl(31, add_or_update_vlans, {4095 ports 0x8})"});
  EXPECT_FALSE(context->is_dirty);
  EXPECT_EQ(dirty_port_count, 0);
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(Synchronisation, KeepsTheCountAfterAFailedPushOfVlansAndReportsItNextTime) {
  tesk_vlan_hash_set_cbl(4095, 0x8);
  forget();
  when("ioctl").once().returns(-1).with_errno(EIO);
  EXPECT_EQ(tesk_krnl_do_sync(), 5u);
  expect_apart_from_control({"ioctl(31, add_or_update_vlans, {4095 ports 0x0})",
                             error("tesk_krnl_add_or_update_vlans", "ioctl failure: 5\n"),
                             error("tesk_krnl_sync_vlan", "Failed to synchronize dirty Vlan list")});
  EXPECT_EQ(dirty_vlan_count, 1);

  EXPECT_EQ(tesk_krnl_do_sync(), 0u);
  expect_apart_from_control({error("tesk_krnl_sync_vlan", "Dirty Vlan List count inconsistency:0/1\n"),
                             "ioctl(31, add_or_update_vlans, {})"});
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(Synchronisation, RefusesMoreThanTwentyOneDirtyPortsWholeAndLeavesVlansAlone) {
  std::vector<tesk_port_t *> contexts;
  for (uint32_t number = 0; number < 25; ++number) contexts.push_back(plug(number));
  for (tesk_port_t *context : contexts) tesk_krnl_port_info_dirty(context);
  tesk_vlan_hash_set_cbl(4095, 0x8);
  forget();
  EXPECT_EQ(tesk_krnl_do_sync(), 5u);
  expect_apart_from_control({error("tesk_krnl_add_or_update_ports", "Invalid Port Count\n"),
                             error("tesk_krnl_sync_port", "Failed to synchronize dirty port list")});
  EXPECT_EQ(dirty_port_count, 25);
  EXPECT_EQ(dirty_vlan_count, 1);
  for (const tesk_port_t *context : contexts) EXPECT_TRUE(context->is_dirty);
  EXPECT_TRUE((*tesk_vlan_hash_find_(4095))->is_dirty);
}

TEST_F(Synchronisation, RefusesMoreThanFifteenDirtyVlansWhole) {
  for (uint16_t number = 1; number <= 20; ++number) {
    tesk_vlan_hash_insert(number);
    tesk_krnl_vlan_info_dirty(number);
  }
  forget();
  EXPECT_EQ(tesk_krnl_do_sync(), 5u);
  expect_apart_from_control({error("tesk_krnl_add_or_update_vlans", "Invalid VLAN Count\n"),
                             error("tesk_krnl_sync_vlan", "Failed to synchronize dirty Vlan list")});
  EXPECT_EQ(dirty_vlan_count, 20);
  for (uint16_t number = 1; number <= 20; ++number) EXPECT_TRUE((*tesk_vlan_hash_find_(number))->is_dirty);
}

TEST_F(Synchronisation, GathersTheTrueNumberButWritesNoMoreThanTheListHolds) {
  for (uint32_t number = 0; number < 25; ++number) plug(number);
  for (uint32_t number = 0; number < 25; ++number)
    tesk_krnl_port_info_dirty(tesk_ifindex_hash_find(ethernet(number)));
  for (uint16_t number = 1; number <= 20; ++number) {
    tesk_vlan_hash_insert(number);
    tesk_krnl_vlan_info_dirty(number);
  }
  std::vector<tesk_port_t *> port_list(21);
  std::vector<vlan_hash_entry_t *> vlan_list(15);
  uint16_t count = 0;
  EXPECT_EQ(tesk_port_get_dirty_list(port_list.data(), &count), 0u);
  EXPECT_EQ(count, 25);
  EXPECT_EQ(tesk_vlan_get_dirty_list(vlan_list.data(), &count), 0u);
  EXPECT_EQ(count, 20);
  ignore_rest();
}

TEST_F(Synchronisation, RefusesToGatherIntoNothing) {
  tesk_port_t *port_list[21];
  vlan_hash_entry_t *vlan_list[15];
  uint16_t count = 0;
  EXPECT_EQ(tesk_port_get_dirty_list(nullptr, &count), 5u);
  EXPECT_EQ(tesk_port_get_dirty_list(port_list, nullptr), 5u);
  EXPECT_EQ(tesk_vlan_get_dirty_list(nullptr, &count), 5u);
  EXPECT_EQ(tesk_vlan_get_dirty_list(vlan_list, nullptr), 5u);
  expect_apart_from_control({error("tesk_port_get_dirty_list", "Invalid input\n"),
                             error("tesk_port_get_dirty_list", "Invalid input\n"),
                             error("tesk_vlan_get_dirty_list", "Invalid input\n"),
                             error("tesk_vlan_get_dirty_list", "Invalid input\n")});
}

TEST_F(Synchronisation, SkipsAnEntryWhoseContextIsGone) {
  // A new context that cannot join the SoL VLAN leaves its entry in the table.
  tesk_vlan_hash_delete(4095);
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 3), nullptr);
  ASSERT_NE(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  tesk_port_t *list[21] = {};
  uint16_t count = 7;
  EXPECT_EQ(tesk_port_get_dirty_list(list, &count), 0u);
  EXPECT_EQ(count, 0);
  ignore_rest();
}

TEST_F(Synchronisation, TracesTheEntryIntoEachSynchronisation) {
  tesk_krnl_sync_port();
  tesk_krnl_sync_vlan();
  EXPECT_EQ(count_of(control("tesk_krnl_sync_port", "\n")), 1u);
  EXPECT_EQ(count_of(control("tesk_krnl_sync_vlan", "\n")), 1u);
  tesk_krnl_do_sync();
  EXPECT_EQ(count_of(control("tesk_krnl_do_sync", "\n")), 1u);
  ignore_rest();
}

}  // namespace
