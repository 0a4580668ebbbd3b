/* Walks over the port contexts: removing a VLAN from all, listing a VLAN's ports, listing dirty ports. */
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

class PortWalk : public TablesTest {
 protected:
  static tesk_port_t *has(uint32_t if_index) {
    tesk_port_t *port = loose_port(if_index, static_cast<uint8_t>(if_index));
    EXPECT_TRUE(tesk_ifindex_hash_insert(if_index, port));
    forget();
    return port;
  }

  /** Inserts an entry without a context, as a failed context leaves it. */
  static void has_entry_without_context(uint32_t if_index) {
    EXPECT_TRUE(tesk_ifindex_hash_insert(if_index, nullptr));
    forget();
  }

  /** Creates ports 0 … count-1, each with a VLAN in its shadow set. */
  static void shadows_hold(uint32_t count, uint16_t vlan) {
    for (uint32_t i = 0; i < count; ++i) tesk_port_shadow_add_vlan(has(ethernet(i)), vlan);
  }
};

/** The result of the look-up in the shadow sets. Frees the list. */
struct PortList {
  explicit PortList(uint16_t vlan) {
    uint32_t size = 99;
    if_index_t *list = nullptr;
    result = tesk_port_vlan_shadowdb_get_port_list(vlan, &size, &list);
    has_list = list != nullptr;
    if (has_list) ports.assign(list, list + size);
    EXPECT_EQ(ports.size(), size);
    std::free(list);
  }
  rcode_t result;
  bool has_list;
  std::vector<uint32_t> ports = {};
};

TEST_F(PortWalk, TakesAVlanOutOfTheMembersAlone) {
  tesk_port_t *member = has(ethernet(3));
  tesk_port_t *other = has(ethernet(4));
  tesk_vlan_hash_insert(10);
  tesk_vlan_hash_set_ltl(10, 0x8);
  forget();
  member->vlan_bmp = vlan_set({10, 20});
  tesk_port_shadow_add_vlan(member, 10);
  bitset_set_bit(&member->vlan_cbl_bmp, 10);
  tesk_port_add_vlan(other, 20);
  EXPECT_EQ(tesk_port_vlan_delete(10), 0u);
  expect(lines(control_of("tesk_port_vlan_delete", ":\n"),
               control_of("tesk_port_vlan_delete", ": Deleting VLAN 10 from Port 0x1a000003\n"),
               port_marked()));
  EXPECT_EQ(shown_set(member->vlan_bmp), "{20}");
  EXPECT_EQ(shown_set(member->shadow_vlan_bmp), "{10}");
  EXPECT_EQ(shown_set(member->vlan_cbl_bmp), "{10}");
  EXPECT_EQ(shown_set(other->vlan_bmp), "{20}");
  EXPECT_EQ(dirty_port_count, 1);
  EXPECT_EQ(tesk_vlan_hash_get_ltl(10), 0x8u);
}

TEST_F(PortWalk, TakesAVlanOutOfEveryMemberOfEveryChain) {
  for (const uint32_t number : {3u, 35u, 7u}) tesk_port_add_vlan(has(ethernet(number)), 10);
  EXPECT_EQ(tesk_port_vlan_delete(10), 0u);
  const auto taken_out = [](uint32_t number) {
    return lines(
        control_of("tesk_port_vlan_delete", format(": Deleting VLAN 10 from Port 0x%x\n", ethernet(number))),
        port_marked());
  };
  expect(lines(control_of("tesk_port_vlan_delete", ":\n"), taken_out(35), taken_out(3), taken_out(7)));
  EXPECT_EQ(dirty_port_count, 3);
}

TEST_F(PortWalk, MeetsAnEntryWithoutContextWhenAVlanIsTakenOut) {
  tesk_port_add_vlan(has(ethernet(4)), 10);
  has_entry_without_context(ethernet(3));
  EXPECT_EQ(tesk_port_vlan_delete(10), 0u);
  expect(lines(
      control_of("tesk_port_vlan_delete", ":\n"), error_of("tesk_port_vlan_delete", ":NULL Port Context\n"),
      control_of("tesk_port_vlan_delete", ": Deleting VLAN 10 from Port 0x1a000004\n"), port_marked()));
}

TEST_F(PortWalk, ListsThePortsOfAVlanInBucketOrder) {
  for (const uint32_t if_index : {ethernet(9), ethernet(2), ethernet(34), port_channel(1)})
    tesk_port_shadow_add_vlan(has(if_index), 10);
  tesk_port_shadow_add_vlan(has(ethernet(5)), 11);
  tesk_port_add_vlan(tesk_ifindex_hash_find(ethernet(5)), 10);  // not reported, so not listed
  has_entry_without_context(ethernet(66));
  const PortList list(10);
  EXPECT_EQ(list.result, 0u);
  EXPECT_EQ(list.ports, (std::vector<uint32_t>{port_channel(1), ethernet(34), ethernet(2), ethernet(9)}));
  expect({});
}

TEST_F(PortWalk, HasNoListForAVlanWithoutPorts) {
  has(ethernet(3));
  const PortList list(10);
  EXPECT_EQ(list.result, 0u);
  EXPECT_FALSE(list.has_list);
  expect({});
}

TEST_F(PortWalk, ListsThirtyTwoPortsWithoutAComplaint) {
  shadows_hold(32, 10);
  EXPECT_EQ(PortList(10).ports.size(), 32u);
  expect({});
}

TEST_F(PortWalk, ListsTheFirstThirtyTwoOfFortyPorts) {
  shadows_hold(40, 10);
  const PortList list(10);
  EXPECT_EQ(list.result, 0u);
  std::vector<uint32_t> first;
  for (uint32_t i = 0; i < 8; ++i) first.insert(first.end(), {ethernet(32 + i), ethernet(i)});
  for (uint32_t i = 8; i < 24; ++i) first.push_back(ethernet(i));
  EXPECT_EQ(list.ports, first);
  expect({error_of("tesk_port_vlan_shadowdb_get_port_list", ":Port list size 32 exhausted\n")});
}

TEST_F(PortWalk, SaysSoWhenMemoryIsShortForTheList) {
  shadows_hold(1, 10);
  fail_allocation(1);
  const PortList list(10);
  EXPECT_EQ(list.result, 1u);
  EXPECT_FALSE(list.has_list);
  expect(
      {error_of("tesk_port_vlan_shadowdb_get_port_list", ":Failed to allocate memory for if_index list\n")});
}

TEST_F(PortWalk, GathersTheDirtyPortsInBucketOrder) {
  tesk_port_t *second = has(ethernet(9));
  tesk_port_t *first = has(ethernet(2));
  has(ethernet(5));
  has_entry_without_context(ethernet(3));
  tesk_krnl_port_info_dirty(second);
  tesk_krnl_port_info_dirty(first);
  tesk_krnl_port_info_dirty(&amm_mgmt_port);  // counted, but in no table
  forget();
  tesk_port_t *list[TESKK_PORTS] = {};
  uint16_t count = 99;
  EXPECT_EQ(tesk_port_get_dirty_list(list, &count), 0u);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(list[0], first);
  EXPECT_EQ(list[1], second);
  expect(entered("tesk_port_get_dirty_list"));
}

TEST_F(PortWalk, WritesTwentyOneDirtyPortsAndCountsThemAll) {
  for (uint32_t i = 0; i < 25; ++i) has(ethernet(i))->is_dirty = true;
  tesk_port_t *list[TESKK_PORTS + 1] = {};
  uint16_t count = 0;
  EXPECT_EQ(tesk_port_get_dirty_list(list, &count), 0u);
  EXPECT_EQ(count, 25);
  EXPECT_NE(list[20], nullptr);
  EXPECT_EQ(list[21], nullptr);
  ignore_rest();
}

TEST_F(PortWalk, GathersNothingWithoutAPlaceForIt) {
  tesk_port_t *list[TESKK_PORTS] = {};
  uint16_t count = 99;
  EXPECT_EQ(tesk_port_get_dirty_list(nullptr, &count), 5u);
  EXPECT_EQ(tesk_port_get_dirty_list(list, nullptr), 5u);
  EXPECT_EQ(count, 99);
  const Lines refused =
      lines(entered("tesk_port_get_dirty_list"), error("tesk_port_get_dirty_list", "Invalid input\n"));
  expect(lines(refused, refused));
}

}  // namespace
