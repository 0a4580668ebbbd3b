/* Walks over the VLAN table: the CIN VLANs, one port's forwarding state, the VLANs to be pushed. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

class VlanWalk : public TablesTest {
 protected:
  static void has(const std::vector<uint16_t> &vlans) {
    for (const uint16_t vlan : vlans) EXPECT_TRUE(tesk_vlan_hash_insert(vlan));
    forget();
  }

  /** VLANs 100 … 100+count-1. */
  static void has_many(uint16_t count) {
    for (uint16_t i = 0; i < count; ++i) has({static_cast<uint16_t>(100 + i)});
  }
};

/** The result of the look-up of CIN VLANs. Frees the list. */
struct VlanList {
  VlanList() {
    uint32_t count = 99;
    vlan_id_t nobodys = 0;
    vlan_id_t *list = &nobodys;
    result = tesk_vlan_get_vlan_list(&count, &list);
    has_list = list != nullptr;
    if (list == &nobodys) return;
    if (has_list) vlans.assign(list, list + count);
    EXPECT_EQ(vlans.size(), count);
    std::free(list);
  }
  rcode_t result;
  bool has_list;
  std::vector<int32_t> vlans = {};
};

TEST_F(VlanWalk, ListsTheCinVlansInBucketOrder) {
  has({40, 5, 37, 64});
  const VlanList list;
  EXPECT_EQ(list.result, 0u);
  EXPECT_EQ(list.vlans, (std::vector<int32_t>{64, 37, 5, 40}));
  expect({});
}

TEST_F(VlanWalk, HasNoListForTheSolVlanAlone) {
  const VlanList list;
  EXPECT_EQ(list.result, 0u);
  EXPECT_FALSE(list.has_list);
  expect({});
}

TEST_F(VlanWalk, ListsThirtyTwoVlansWithoutAComplaint) {
  has_many(32);
  EXPECT_EQ(VlanList().vlans.size(), 32u);
  expect({});
}

TEST_F(VlanWalk, ListsTheFirstThirtyTwoOfMoreVlans) {
  has_many(33);
  const VlanList list;
  EXPECT_EQ(list.result, 0u);
  std::vector<int32_t> first = {128, 129, 130, 131, 132};
  for (int32_t vlan = 100; vlan < 127; ++vlan) first.push_back(vlan);
  EXPECT_EQ(list.vlans, first);
  expect({error_of("tesk_vlan_get_vlan_list", ":VLAN list size 32 exhausted\n")});
}

TEST_F(VlanWalk, SaysSoWhenMemoryIsShortForTheList) {
  has({10});
  fail_allocation(1);
  const VlanList list;
  EXPECT_EQ(list.result, 1u);
  EXPECT_FALSE(list.has_list);
  expect({error_of("tesk_vlan_get_vlan_list", ":Failed to allocate memory for vlan list\n")});
}

TEST_F(VlanWalk, TakesAPortsForwardingStateIntoEveryVlan) {
  has({10, 20});
  tesk_vlan_hash_set_cbl(10, 0x3);
  tesk_vlan_hash_set_cbl(20, 0xb);
  forget();
  tesk_port_t *port = loose_port(ethernet(3), 3);
  const vlan_bitset_t forwards = vlan_set({10});
  EXPECT_EQ(tesk_vlan_cbl_change_one_port(port, &forwards), 0u);
  const auto now = [](const char *text) {
    return lines(entry_marked(), control_of("tesk_vlan_cbl_change_one_port",
                                            std::string(": Port[1a000003], ") + text + "\n"));
  };
  expect(lines(now("VLAN[10], CBL[0000b]"), now("VLAN[20], CBL[00003]"), now("VLAN[4095], CBL[00008]")));
  EXPECT_EQ(vlan_entry(10)->cbl, 0xbu);
  EXPECT_EQ(vlan_entry(20)->cbl, 0x3u);
  EXPECT_EQ(dirty_vlan_count, 3);
  std::free(port);
}

TEST_F(VlanWalk, TakesAPortsForwardingStateIntoEveryVlanOfAChain) {
  has({5, 37, 69});
  tesk_port_t *port = loose_port(ethernet(3), 3);
  const vlan_bitset_t forwards = vlan_set({5, 69});
  EXPECT_EQ(tesk_vlan_cbl_change_one_port(port, &forwards), 0u);
  EXPECT_EQ(vlan_entry(69)->cbl, 0x8u);
  EXPECT_EQ(vlan_entry(37)->cbl, 0u);
  EXPECT_EQ(vlan_entry(5)->cbl, 0x8u);
  EXPECT_EQ(dirty_vlan_count, 4) << "a VLAN is pushed whether the port forwards it or not";
  ignore_rest();
  std::free(port);
}

TEST_F(VlanWalk, LetsAPortForwardInTheSolVlanWhateverItsSetSays) {
  tesk_port_t *port = loose_port(ethernet(19), 19);
  const vlan_bitset_t none = vlan_set({});
  EXPECT_EQ(tesk_vlan_cbl_change_one_port(port, &none), 0u);
  EXPECT_EQ(vlan_entry(4095)->cbl, 0x80000u);
  ignore_rest();
  std::free(port);
}

TEST_F(VlanWalk, MovesNoBitForAPortOnAsicPort32OrMore) {
  has({10});
  tesk_vlan_hash_set_cbl(10, 0xffffffff);
  tesk_port_t *port = loose_port(ethernet(3), 32);
  const vlan_bitset_t none = vlan_set({});
  for (const uint8_t number : std::initializer_list<uint8_t>{32, 64, 255}) {
    port->kestrix_port = number;
    tesk_vlan_cbl_change_one_port(port, &none);
    EXPECT_EQ(vlan_entry(10)->cbl, 0xffffffffu);
    EXPECT_EQ(vlan_entry(4095)->cbl, 0u);
  }
  ignore_rest();
  std::free(port);
}

TEST_F(VlanWalk, GathersTheDirtyVlansInBucketOrder) {
  has({40, 5, 37, 69, 10});
  for (const uint16_t vlan : std::initializer_list<uint16_t>{40, 5, 69}) tesk_vlan_hash_set_ltl(vlan, 1);
  forget();
  vlan_hash_entry_t *list[TESKK_VLANS] = {};
  uint16_t count = 99;
  EXPECT_EQ(tesk_vlan_get_dirty_list(list, &count), 0u);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(list[0], vlan_entry(69));
  EXPECT_EQ(list[1], vlan_entry(5));
  EXPECT_EQ(list[2], vlan_entry(40));
  expect(entered("tesk_vlan_get_dirty_list"));
}

TEST_F(VlanWalk, WritesFifteenDirtyVlansAndCountsThemAll) {
  has_many(20);
  for (uint16_t i = 0; i < 20; ++i) tesk_vlan_hash_set_ltl(static_cast<uint16_t>(100 + i), 1);
  vlan_hash_entry_t *list[TESKK_VLANS + 1] = {};
  uint16_t count = 0;
  EXPECT_EQ(tesk_vlan_get_dirty_list(list, &count), 0u);
  EXPECT_EQ(count, 20);
  EXPECT_NE(list[14], nullptr);
  EXPECT_EQ(list[15], nullptr);
  ignore_rest();
}

TEST_F(VlanWalk, GathersNothingWithoutAPlaceForIt) {
  vlan_hash_entry_t *list[TESKK_VLANS] = {};
  uint16_t count = 99;
  EXPECT_EQ(tesk_vlan_get_dirty_list(nullptr, &count), 5u);
  EXPECT_EQ(tesk_vlan_get_dirty_list(list, nullptr), 5u);
  EXPECT_EQ(count, 99);
  const Lines refused =
      lines(entered("tesk_vlan_get_dirty_list"), error("tesk_vlan_get_dirty_list", "Invalid input\n"));
  expect(lines(refused, refused));
}

}  // namespace
