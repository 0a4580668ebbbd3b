/* Records that wait to be pushed to the kernel module: their flags and their counts. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/daemon_test.h"

namespace {

class DirtyRecords : public DaemonTest {
 protected:
  DirtyRecords() { bring_up_tables(); }
};

TEST_F(DirtyRecords, CountsARecordOnceHoweverOftenItChanges) {
  tesk_port_t context = {};
  vlan_hash_entry_t entry = {};
  for (int i = 0; i < 2; ++i) {
    tesk_krnl_port_info_dirty(&context);
    tesk_krnl_vlan_info_dirty_(&entry);
  }
  EXPECT_EQ(dirty_port_count, 1);
  EXPECT_EQ(dirty_vlan_count, 1);
  ignore_rest();
}

TEST_F(DirtyRecords, FindsAVlanToMarkByItsNumber) {
  tesk_vlan_hash_insert(100);
  tesk_krnl_vlan_info_dirty(100);
  tesk_krnl_vlan_info_dirty(101);
  EXPECT_EQ(dirty_vlan_count, 1);
  EXPECT_TRUE((*tesk_vlan_hash_find_(100))->is_dirty);
  ignore_rest();
}

TEST_F(DirtyRecords, AreTracedWhenTheyAreMarked) {
  tesk_port_t context = {};
  vlan_hash_entry_t entry = {};
  tesk_krnl_vlan_info_dirty_(&entry);
  tesk_krnl_port_info_dirty(&context);
  tesk_krnl_vlan_info_dirty(101);
  expect({control("tesk_krnl_vlan_info_dirty_", "\n"), control("tesk_krnl_port_info_dirty", "\n"),
          control("tesk_krnl_vlan_info_dirty", "\n")});
}

}  // namespace
