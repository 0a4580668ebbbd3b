/* The VLAN table: its entries, and the activation of a VLAN in the switch. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

class VlanTable : public TablesTest {
 protected:
  static void has(uint16_t vlan) {
    EXPECT_TRUE(tesk_vlan_hash_insert(vlan));
    forget();
  }
};

TEST_F(VlanTable, EntersAVlanAndPushesItAtOnce) {
  EXPECT_TRUE(tesk_vlan_hash_insert(10));
  expect(vlan_pushed("10 ports 0x0"));
  const vlan_hash_entry_t *entry = vlan_entry(10);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->vlan, 10);
  EXPECT_EQ(entry->ltl, 0u);
  EXPECT_EQ(entry->cbl, 0u);
  EXPECT_EQ(entry->rr_token, 0xffffffffu);
  EXPECT_EQ(entry->is_dirty, 0u);
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(VlanTable, RefusesAVlanThatItHas) {
  EXPECT_FALSE(tesk_vlan_hash_insert(4095));
  expect({error_of("tesk_vlan_hash_insert", ": VLAN (4095) already exists on Hash Tbl\n")});
}

TEST_F(VlanTable, IsSilentWhenMemoryIsShort) {
  fail_allocation(1);
  EXPECT_FALSE(tesk_vlan_hash_insert(10));
  expect({});
  EXPECT_EQ(vlan_entry(10), nullptr);
}

TEST_F(VlanTable, KeepsAVlanThatTheKernelModuleRefuses) {
  when("ioctl").returns(-1).with_errno(EIO);
  EXPECT_TRUE(tesk_vlan_hash_insert(10));
  expect(lines(vlan_pushed("10 ports 0x0"), error("tesk_krnl_add_or_update_vlans", "ioctl failure: 5\n")));
  EXPECT_NE(vlan_entry(10), nullptr);
}

TEST_F(VlanTable, KeepsTheNeighboursOfAMiddleEntryThatIsDeleted) {
  has(5);
  has(37);
  has(69);
  EXPECT_TRUE(tesk_vlan_hash_delete(37));
  expect(vlan_removed(37));
  EXPECT_EQ(vlan_entry(37), nullptr);
  EXPECT_NE(vlan_entry(5), nullptr);
  EXPECT_NE(vlan_entry(69), nullptr);
}

TEST_F(VlanTable, DeletesAVlanThoughTheKernelModuleRefuses) {
  has(10);
  when("ioctl").returns(-1).with_errno(ENOENT);
  EXPECT_TRUE(tesk_vlan_hash_delete(10));
  expect(lines(vlan_removed(10), error("tesk_krnl_del_vlan", "ioctl failure: 2\n")));
  EXPECT_EQ(vlan_entry(10), nullptr);
}

TEST_F(VlanTable, CountsADirtyVlanNoMoreOnceItIsDeleted) {
  has(10);
  EXPECT_TRUE(tesk_vlan_hash_set_ltl(10, 1));
  EXPECT_EQ(dirty_vlan_count, 1);
  EXPECT_TRUE(tesk_vlan_hash_delete(10));
  EXPECT_EQ(dirty_vlan_count, 0);
  ignore_rest();
}

TEST_F(VlanTable, MarksAVlanThatIsSetToWhatItHas) {
  has(10);
  EXPECT_TRUE(tesk_vlan_hash_set_ltl(10, 0));
  EXPECT_TRUE(tesk_vlan_hash_set_cbl(10, 0));
  EXPECT_TRUE(tesk_vlan_hash_set_req_ref(10, 0xffffffff));
  expect(lines(ltl_set(10, 0), cbl_set(10, 0),
               control_of("tesk_vlan_hash_set_req_ref", ":VLAN:10, rr_token:0xffffffff\n")));
  EXPECT_EQ(dirty_vlan_count, 1);
}

TEST_F(VlanTable, KeepsARequestsTokenWithoutTellingTheKernelModule) {
  has(10);
  EXPECT_TRUE(tesk_vlan_hash_set_req_ref(10, 0xabc));
  expect({control_of("tesk_vlan_hash_set_req_ref", ":VLAN:10, rr_token:0xabc\n")});
  EXPECT_EQ(vlan_entry(10)->rr_token, 0xabcu);
  EXPECT_EQ(dirty_vlan_count, 0);
}

TEST_F(VlanTable, ChangesNothingForAnAbsentVlanInSilence) {
  EXPECT_FALSE(tesk_vlan_hash_set_ltl(10, 1));
  EXPECT_FALSE(tesk_vlan_hash_set_cbl(10, 1));
  EXPECT_FALSE(tesk_vlan_hash_set_req_ref(10, 1));
  EXPECT_FALSE(tesk_vlan_hash_delete(10));
  expect({});
  EXPECT_EQ(dirty_vlan_count, 0);
}

/** The CIN VLAN 10, not activated. */
class Activation : public TablesTest {
 protected:
  Activation() : TablesTest({10}) {}

  static uint32_t token() { return vlan_entry(10)->rr_token; }
};

TEST_F(Activation, RedirectsTheVlanThenClassifiesIt) {
  EXPECT_EQ(tesk_vlan_activate(10), 0);
  expect(activated(10, 1001));
  EXPECT_EQ(token(), 1001u);
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0u);
}

TEST_F(Activation, DoesNotClassifyAVlanThatCannotBeRedirected) {
  when("ltlsvc_send_ltl_alloc").returns(111);
  EXPECT_EQ(tesk_vlan_activate(10), 111);
  expect({"ltlsvc_send_ltl_alloc(30, 7, 10, 0, 0, 0)",
          error_of("tesk_vlan_activate", ": Tesk traffic redirection setup for vlan 10 failed\n")});
  EXPECT_EQ(token(), 0xffffffffu);
}

TEST_F(Activation, PassesBackAFailedClassification) {
  when("kinb_tesk_vlan_add").returns(-7);
  EXPECT_EQ(tesk_vlan_activate(10), -7);
  expect(lines("ltlsvc_send_ltl_alloc(30, 7, 10, 0, 0, 0)", token_kept(10, 1001), "kinb_tesk_vlan_add(10)",
               error_of("tesk_vlan_activate", ": Tesk classification setup for vlan 10 failed\n")));
  EXPECT_EQ(token(), 1001u);
}

TEST_F(Activation, SucceedsThoughTheRequestCannotBeDropped) {
  when("qbus_drop").returns(-1);
  EXPECT_EQ(tesk_vlan_activate(10), 0);
  expect(activated(10, 1001));
}

TEST_F(Activation, KeepsTheTokenOfTheLastRequest) {
  EXPECT_EQ(tesk_vlan_activate(10), 0);
  EXPECT_EQ(tesk_vlan_activate(10), 0);
  EXPECT_EQ(token(), 1002u);
  expect(lines(activated(10, 1001), activated(10, 1002)));
}

TEST_F(Activation, IsTakenBackInTheReverseOrder) {
  EXPECT_EQ(tesk_vlan_deactivate(10), 0);
  expect(deactivated(10, 1001));
  EXPECT_EQ(token(), 1001u);
}

TEST_F(Activation, LeavesTheVlansPortsAsTheyAre) {
  tesk_vlan_hash_set_ltl(10, 0x18);
  tesk_vlan_hash_set_cbl(10, 0x8);
  for (int (*change)(uint16_t) : {tesk_vlan_activate, tesk_vlan_deactivate}) {
    EXPECT_EQ(change(10), 0);
    EXPECT_EQ(vlan_entry(10)->ltl, 0x18u);
    EXPECT_EQ(vlan_entry(10)->cbl, 0x8u);
  }
  ignore_rest();
}

TEST_F(Activation, IsNotReleasedWhenTheClassificationStays) {
  when("kinb_tesk_vlan_del").returns(7);
  EXPECT_EQ(tesk_vlan_deactivate(10), 7);
  expect({"kinb_tesk_vlan_del(10)",
          error_of("tesk_vlan_deactivate", ": Tesk classification deletion for vlan 10 failed\n")});
  EXPECT_EQ(token(), 0xffffffffu);
}

TEST_F(Activation, PassesBackAFailedRelease) {
  when("ltlsvc_send_ltl_dealloc").returns(105);
  EXPECT_EQ(tesk_vlan_deactivate(10), 105);
  expect({"kinb_tesk_vlan_del(10)",
          control_of("tesk_vlan_deactivate", ": Tesk classification deletion for vlan 10 done\n"),
          "ltlsvc_send_ltl_dealloc(30, 0, 7, 10, 0, 0)",
          error_of("tesk_vlan_deactivate", ": Tesk traffic redirection disable for vlan 10 failed\n")});
  EXPECT_EQ(token(), 0xffffffffu);
}

}  // namespace
