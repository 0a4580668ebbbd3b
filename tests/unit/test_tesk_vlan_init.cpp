/* The VLAN table at start: the SoL VLAN, the stored CIN VLANs, the announcement to the VLAN manager. */
#include <numeric>

#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_qbus.h"
#include "tests/unit/tables.h"

namespace {

const char *const init = "tesk_init_vlan";

Lines stored_vlan_used(uint32_t vlan) {
  return lines(vlan_pushed(format("%u ports 0x0", vlan)), port_marked(),
               control_of(init, format(": Using CIN VLAN (%u) from Cfg KVS\n", vlan)));
}

Line retrieved(uint32_t count) { return control(init, format("Retrieved %u CIN VLANs from KVS\n", count)); }

Lines sol_entered() { return lines(vlan_pushed("4095 ports 0x0"), port_marked()); }

/** The calls of a walk over a store with this number of records. */
Lines store_walked(uint32_t records) {
  Lines walk = {"kvs_move2location(1, 1)"};
  for (uint32_t i = 0; i < records; ++i) walk.push_back("kvs_move2location(1, 3)");
  walk.push_back(control_of("tesk_kvs_cin_vlan_config_get",
                            format(": %u CIN VLAN configuration found in KVS\n", records)));
  return walk;
}

Lines announced(const std::string &vlans) {
  return lines(feature_set(vlans, 1000), control(init, "tesk_send_set_feat_in_vlan succeeded.\n"));
}

/** The port layer has started; the VLAN table has not. */
class VlanStart : public DaemonTest {
 protected:
  void SetUp() override {
    tesk_qbus_q = queue_descriptor;
    teskkfd = module_descriptor;
    tesk_kvs_cfg = open_store(running_store);
    ASSERT_TRUE(tesk_init_ports());
    forget();
  }

  static std::string accepted() { return shown_set(amm_mgmt_port.vlan_bmp); }
};

TEST_F(VlanStart, WithoutStoredVlansHasTheSolVlanAlone) {
  EXPECT_TRUE(tesk_init_vlan());
  expect(lines(sol_entered(), "kvs_move2location(1, 1)",
               error_of("tesk_kvs_cin_vlan_config_get", ": No CIN VLAN configuration found in KVS\n"),
               retrieved(0), "kinb_libinit()"));
  EXPECT_NE(vlan_entry(4095), nullptr);
  EXPECT_EQ(cin_vlan_count, 0);
  EXPECT_EQ(accepted(), "{4095}");
  EXPECT_EQ(dirty_port_count, 1);
}

TEST_F(VlanStart, UsesTheStoredVlansInTheirOrderAndAnnouncesThem) {
  store_cin_vlans(running_store, {20, 10});
  EXPECT_TRUE(tesk_init_vlan());
  expect(lines(sol_entered(), store_walked(2), stored_vlan_used(20), stored_vlan_used(10), retrieved(2),
               announced("20 10"), "kinb_libinit()"));
  EXPECT_EQ(cin_vlan_count, 2);
  EXPECT_EQ(accepted(), "{10 20 4095}");
  EXPECT_EQ(vlan_entry(10)->ltl, 0u);
  EXPECT_EQ(vlan_entry(10)->rr_token, 0xffffffffu) << "nothing is activated at start";
}

TEST_F(VlanStart, UsesTheFirstFourteenOfTwentyStoredVlans) {
  std::vector<int32_t> stored(20);
  std::iota(stored.begin(), stored.end(), 101);
  store_cin_vlans(running_store, stored);
  EXPECT_TRUE(tesk_init_vlan());
  Lines expected = lines(sol_entered(), store_walked(20));
  std::string vlans;
  for (uint32_t vlan = 101; vlan <= 114; ++vlan) {
    expected = lines(expected, stored_vlan_used(vlan));
    vlans += (vlans.empty() ? "" : " ") + std::to_string(vlan);
  }
  expect(lines(
      expected,
      error(init, "Maximum number (14) of supported CIN VLANs exceeded.Ignoring further VLANs in KVS\n"),
      retrieved(14), announced(vlans), "kinb_libinit()"));
  EXPECT_EQ(cin_vlan_count, 14);
  EXPECT_EQ(vlan_entry(115), nullptr);
}

TEST_F(VlanStart, PassesOverARepeatedVlanAndTheSolVlan) {
  store_cin_vlans(running_store, {10, 10, 4095, 20});
  EXPECT_TRUE(tesk_init_vlan());
  const auto refused = [](uint32_t vlan) {
    return lines(error_of("tesk_vlan_hash_insert", format(": VLAN (%u) already exists on Hash Tbl\n", vlan)),
                 error_of(init, format(": Failed to add CIN VLAN(%u) to VLAN Hash Tbl\n", vlan)));
  };
  expect(lines(sol_entered(), store_walked(4), stored_vlan_used(10), refused(10), refused(4095),
               stored_vlan_used(20), retrieved(2), announced("10 20"), "kinb_libinit()"));
  EXPECT_EQ(cin_vlan_count, 2);
}

TEST_F(VlanStart, CountsOnlyTheVlansThatItUsesTowardsTheLimit) {
  store_cin_vlans(running_store, {10, 10, 10, 10});
  for (int32_t vlan = 101; vlan <= 113; ++vlan) store_cin_vlans(running_store, {vlan});
  EXPECT_TRUE(tesk_init_vlan());
  EXPECT_EQ(cin_vlan_count, 14);
  EXPECT_NE(vlan_entry(113), nullptr);
  EXPECT_EQ(count_of(retrieved(14)), 1u);
  ignore_rest();
}

TEST_F(VlanStart, StopsWithoutMemoryForTheSolVlan) {
  store_cin_vlans(running_store, {10});
  fail_allocation(1);
  EXPECT_FALSE(tesk_init_vlan());
  expect({error_of(init, ": Failed to add SoL VLAN(4095) to VLAN Hash Tbl\n")});
  EXPECT_EQ(accepted(), "{}");
  EXPECT_EQ(dirty_port_count, 0);
}

TEST_F(VlanStart, GoesOnWithoutStoredVlansWhenTheirListCannotBeMade) {
  store_cin_vlans(running_store, {10});
  fail_allocation(2);
  EXPECT_TRUE(tesk_init_vlan());
  expect(lines(sol_entered(),
               error_of("tesk_kvs_cin_vlan_config_get", ":Failed to allocate memory for KVS CIN VLAN list\n"),
               error_of(init, ": Failed to get CIN VLAN configuration from KVS\n"), "kinb_libinit()"));
  EXPECT_EQ(cin_vlan_count, 0);
}

TEST_F(VlanStart, GoesOnWhenTheAnnouncementFails) {
  store_cin_vlans(running_store, {10, 20});
  when("vlan_feat_create_build_qbus_local").returns(12).gives(-1);
  EXPECT_TRUE(tesk_init_vlan());
  expect(lines(sol_entered(), store_walked(2), stored_vlan_used(10), stored_vlan_used(20), retrieved(2),
               control("tesk_send_set_feat_in_vlan", "Null qbus pld from vlan manager\n"),
               error(init, "tesk_send_set_feat_in_vlan failed for 2 vlans.\n"), "kinb_libinit()"));
}

TEST_F(VlanStart, GoesOnWhenTheInBandDriverFails) {
  when("kinb_libinit").returns(5);
  EXPECT_TRUE(tesk_init_vlan());
  expect(lines(sol_entered(), "kvs_move2location(1, 1)",
               error_of("tesk_kvs_cin_vlan_config_get", ": No CIN VLAN configuration found in KVS\n"),
               retrieved(0), "kinb_libinit()"));
}

TEST_F(VlanStart, ForgetsWhatTheTableHeldBefore) {
  vlan_hash_entry_t stray{};
  for (vlan_hash_entry_t *&head : vlan_bucket) head = &stray;
  cin_vlan_count = 9;
  EXPECT_TRUE(tesk_init_vlan());
  for (size_t i = 0; i < 31; ++i) EXPECT_EQ(vlan_bucket[i], nullptr);
  EXPECT_EQ(vlan_bucket[31]->next, nullptr);
  EXPECT_EQ(cin_vlan_count, 0);
  ignore_rest();
}

TEST_F(VlanStart, StaysInBoundsForStoredNumbersThatAreNoVlan) {
  store_cin_vlans(running_store, {-1, 0x7fffffff, 5000, 65546});
  EXPECT_TRUE(tesk_init_vlan());
  EXPECT_EQ(accepted(), "{10 4095}") << "a VLAN is the low 16 bits of what is stored";
  ignore_rest();
}

TEST_F(VlanStart, TracesAndAnnouncesAStoredNumberAsItIs) {
  store_cin_vlans(running_store, {65546, -65526});
  EXPECT_TRUE(tesk_init_vlan());
  EXPECT_NE(vlan_entry(10), nullptr);
  EXPECT_EQ(count_of(control_of(init, ": Using CIN VLAN (65546) from Cfg KVS\n")), 1u);
  EXPECT_EQ(count_of(error_of(init, ": Failed to add CIN VLAN(-65526) to VLAN Hash Tbl\n")), 1u);
  EXPECT_EQ(count_of(announced("65546").front()), 1u);
  ignore_rest();
}

}  // namespace
