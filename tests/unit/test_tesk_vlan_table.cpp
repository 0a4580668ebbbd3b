/* Finding a VLAN in the table. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

class VlanLookUp : public TablesTest {
 protected:
  static void has(uint16_t vlan) {
    EXPECT_TRUE(tesk_vlan_hash_insert(vlan));
    forget();
  }
};

TEST_F(VlanLookUp, FindsTheLastEnteredVlanOfABucketFirst) {
  has(5);
  has(37);
  has(69);
  EXPECT_EQ(vlan_bucket[5]->vlan, 69);
  EXPECT_EQ(tesk_vlan_hash_find_(69), &vlan_bucket[5]);
  EXPECT_EQ(tesk_vlan_hash_find_(37), &vlan_bucket[5]->next);
  EXPECT_EQ(tesk_vlan_hash_find_(101), nullptr);
}

TEST_F(VlanLookUp, AnswersForAnAbsentVlanInSilence) {
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0xffffffffu);
  EXPECT_EQ(tesk_vlan_hash_get_cbl_ltl(10), 0xffffffffu);
  expect({});
}

TEST_F(VlanLookUp, FloodsToTheMembersThatForward) {
  has(10);
  EXPECT_TRUE(tesk_vlan_hash_set_ltl(10, 0xf));
  EXPECT_TRUE(tesk_vlan_hash_set_cbl(10, 0x5));
  expect(lines(ltl_set(10, 0xf), cbl_set(10, 0x5)));
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0xfu);
  EXPECT_EQ(tesk_vlan_hash_get_cbl_ltl(10), 0x5u);
  EXPECT_EQ(dirty_vlan_count, 1) << "once, however often it changes";
}

}  // namespace
