/* The life of port contexts: start of the port layer, creation, deletion. */
#include <algorithm>
#include <cstddef>

#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

const char *const creation = "tesk_create_port_context";
const char *const deletion = "tesk_delete_port_context";

TEST(PortRecords, HaveTheirFieldsInOrder) {
  const std::vector<size_t> context = {offsetof(tesk_port_t, next),
                                       offsetof(tesk_port_t, if_idx),
                                       offsetof(tesk_port_t, if_type),
                                       offsetof(tesk_port_t, iod),
                                       offsetof(tesk_port_t, learnt_addr),
                                       offsetof(tesk_port_t, tx_stats),
                                       offsetof(tesk_port_t, rx_stats),
                                       offsetof(tesk_port_t, is_dirty),
                                       offsetof(tesk_port_t, vlan_bmp),
                                       offsetof(tesk_port_t, shadow_vlan_bmp),
                                       offsetof(tesk_port_t, kestrix_port),
                                       offsetof(tesk_port_t, vlan_cbl_bmp),
                                       offsetof(tesk_port_t, pc_member_count),
                                       offsetof(tesk_port_t, pc_member_list)};
  const std::vector<size_t> entry = {offsetof(ifindex_hash_entry_t, if_index),
                                     offsetof(ifindex_hash_entry_t, param),
                                     offsetof(ifindex_hash_entry_t, next)};
  const std::vector<size_t> address = {offsetof(tesk_fib_entry_t, mac_address),
                                       offsetof(tesk_fib_entry_t, tesk_port),
                                       offsetof(tesk_fib_entry_t, next)};
  EXPECT_EQ(sizeof(tesk_port_t::pc_member_list), 16u);
  EXPECT_TRUE(std::ranges::is_sorted(context));
  EXPECT_TRUE(std::ranges::is_sorted(entry));
  EXPECT_TRUE(std::ranges::is_sorted(address));
  EXPECT_EQ(offsetof(tesk_port_stats_t, ucast), 0u);
  EXPECT_EQ(offsetof(tesk_port_stats_t, mcast), 4u);
}

/** The port layer before its start. */
class PortLayer : public DaemonTest {
 protected:
  PortLayer() { teskkfd = module_descriptor; }
};

TEST_F(PortLayer, StartsWithTheManagementPortAlone) {
  tesk_port_t stray{};
  ifindex_hash_entry_t stray_entry{};
  kes_port_map[0] = kes_port_map[19] = &stray;
  ifidx_bucket[0] = ifidx_bucket[31] = &stray_entry;
  amm_mgmt_port.kestrix_port = 7;
  amm_mgmt_port.is_dirty = true;

  EXPECT_TRUE(tesk_init_ports());
  expect(port_pushed("0x5000000 type 5 asic 0 []"));
  for (const tesk_port_t *slot : kes_port_map) EXPECT_EQ(slot, nullptr);
  for (const ifindex_hash_entry_t *head : ifidx_bucket) EXPECT_EQ(head, nullptr);
  EXPECT_EQ(amm_mgmt_port.kestrix_port, 0);
  EXPECT_EQ(amm_mgmt_port.is_dirty, 0u);
  EXPECT_EQ(amm_mgmt_port.vlan_bmp.size, 512);
  EXPECT_EQ(amm_mgmt_port.shadow_vlan_bmp.size, 512);
  EXPECT_EQ(amm_mgmt_port.vlan_cbl_bmp.size, 0);
}

TEST_F(PortLayer, HasManagementPortOneOnTheVorlundBoard) {
  vorlund_platform = true;
  EXPECT_TRUE(tesk_init_ports());
  expect(port_pushed("0x5000001 type 5 asic 0 []"));
}

TEST_F(PortLayer, DoesNotStartWithoutAnIndexOfTheManagementPort) {
  when("if_index_mgmt_sup_port_init").returns(RCODE_INVALID);
  EXPECT_FALSE(tesk_init_ports());
  vorlund_platform = true;
  EXPECT_FALSE(tesk_init_ports());
  expect({error_of("tesk_init_ports", ": Failed to derive if_index for Management Port(0)\n"),
          error_of("tesk_init_ports", ": Failed to derive if_index for Management Port(1)\n")});
}

TEST_F(PortLayer, DoesNotStartWithoutATypeOfTheManagementPort) {
  when("if_index_get_type").returns(RCODE_INVALID);
  EXPECT_FALSE(tesk_init_ports());
  expect({error_of("tesk_init_ports", ": Failed to derive if type for (0x5000000)\n")});
}

TEST_F(PortLayer, ThatDoesNotStartHasAnEmptyMapAndTheTableAsItWas) {
  for (const char *const operation : {"if_index_mgmt_sup_port_init", "if_index_get_type"}) {
    tesk_port_t stray{};
    ifindex_hash_entry_t stray_entry{};
    kes_port_map[19] = &stray;
    ifidx_bucket[31] = &stray_entry;
    when(operation).once().returns(RCODE_INVALID);
    EXPECT_FALSE(tesk_init_ports());
    EXPECT_EQ(kes_port_map[19], nullptr) << operation;
    EXPECT_EQ(amm_mgmt_port.vlan_bmp.size, 512) << operation;
    EXPECT_EQ(ifidx_bucket[31], &stray_entry) << operation;
    ifidx_bucket[31] = nullptr;
    amm_mgmt_port = {};
  }
  ignore_rest();
}

TEST_F(PortLayer, StartsThoughTheKernelModuleRefuses) {
  when("ioctl").returns(-1).with_errno(EBADF);
  EXPECT_TRUE(tesk_init_ports());
  expect(lines(port_pushed("0x5000000 type 5 asic 0 []"),
               error("tesk_krnl_add_or_update_ports", "ioctl failure: 9\n")));
}

TEST_F(PortLayer, ComesUpThoughTheManagementPortCannotBePushed) {
  when("tesk_krnl_add_or_update_port").returns(5);
  EXPECT_TRUE(tesk_init_ports());
  expect({error("tesk_init_ports", "Synchronization with kernel failed\n")});
}

class PortContext : public TablesTest {
 protected:
  static tesk_port_t *created(uint32_t if_index) {
    tesk_port_t *port = tesk_create_port_context(if_index, 1);
    forget();
    return port;
  }

  /** Removes the SoL VLAN (serial over LAN) from the VLAN table. */
  static void sol_is_absent() {
    ASSERT_TRUE(tesk_vlan_hash_delete(4095));
    forget();
  }
};

TEST_F(PortContext, IsBornAMemberOfTheSolVlan) {
  tesk_port_t *port = tesk_create_port_context(ethernet(3), 77);
  expect(lines(converted(ethernet(3)), port_pushed("0x1a000003 type 26 asic 3 [4095 blk]"),
               ltl_set(4095, 0x8), vlan_marked()));
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->if_idx, ethernet(3));
  EXPECT_EQ(port->if_type, 26);
  EXPECT_EQ(port->iod, 77u);
  EXPECT_EQ(port->next, nullptr);
  for (const uint8_t byte : port->learnt_addr) EXPECT_EQ(byte, 0);
  EXPECT_EQ(port->pc_member_count, 0);
  EXPECT_EQ(port->kestrix_port, 3);
  EXPECT_EQ(port->is_dirty, 0u);
  EXPECT_EQ(shown_set(port->vlan_bmp), "{4095}");
  EXPECT_EQ(shown_set(port->shadow_vlan_bmp), "{}");
  EXPECT_EQ(shown_set(port->vlan_cbl_bmp), "{}");
  EXPECT_EQ(port->vlan_bmp.size, 512);
  EXPECT_EQ(port->shadow_vlan_bmp.size, 512);
  EXPECT_EQ(port->vlan_cbl_bmp.size, 512);
  EXPECT_EQ(port->tx_stats.ucast + port->tx_stats.mcast + port->rx_stats.ucast + port->rx_stats.mcast, 0u);
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), port);
  EXPECT_EQ(tesk_kes_port_to_port_context(3), port);
  EXPECT_EQ(tesk_vlan_hash_get_ltl(4095), 0x8u);
  EXPECT_EQ(dirty_vlan_count, 1);
}

TEST_F(PortContext, AddsItsBitToThePortsAlreadyThere) {
  created(ethernet(0));
  created(ethernet(19));
  EXPECT_EQ(tesk_vlan_hash_get_ltl(4095), 0x80001u);
}

TEST_F(PortContext, OfAPortChannelMapsItsMembers) {
  channel_has(7, ethernet(5), {ethernet(5), ethernet(6)});
  const tesk_port_t *port = tesk_create_port_context(port_channel(7), 1);
  expect(lines(
      "chanagg_get_pc_info(0x16000007)",
      control_of("chanagg_get_member_fop_ifindex", ":PC IfIndex [0x16000007], FOP IfIndex[0x1a000005]\n"),
      converted(ethernet(5)), port_pushed("0x16000007 type 22 asic 5 [4095 blk]"), ltl_set(4095, 0x20),
      vlan_marked(), "chanagg_get_pc_info(0x16000007)", converted(ethernet(5)), converted(ethernet(6))));
  EXPECT_EQ(tesk_kes_port_to_port_context(5), port);
  EXPECT_EQ(tesk_kes_port_to_port_context(6), port);
}

TEST_F(PortContext, OfAPortChannelIsMadeThoughItsMembersCannotBeMapped) {
  channel_has(7, ethernet(5), {ethernet(5)});
  when("chanagg_get_pc_info").call(2).returns(RCODE_TIMED_OUT);
  EXPECT_NE(tesk_create_port_context(port_channel(7), 1), nullptr);
  expect_apart_from_control({"chanagg_get_pc_info(0x16000007)", "ltlsvc_lib_ifidx_to_di(0x1a000005)",
                             "ioctl(31, add_or_update_ports, {0x16000007 type 22 asic 5 [4095 blk]})",
                             "chanagg_get_pc_info(0x16000007)",
                             error_of("tesk_setup_kes_to_port_map",
                                      ":chanagg_get_pc_info failed for 0x16000007, rc:0x40010001\n")});
}

TEST_F(PortContext, AddsNoBitForAnAsicPortOf32OrMore) {
  for (const uint32_t number : {32u, 40u, 254u}) {
    EXPECT_NE(tesk_create_port_context(ethernet(number), 1), nullptr);
    EXPECT_EQ(tesk_vlan_hash_get_ltl(4095), 0u) << number;
    EXPECT_EQ(tesk_delete_port_context(ethernet(number)), 0u);
    EXPECT_EQ(tesk_vlan_hash_get_ltl(4095), 0u) << number;
  }
  EXPECT_NE(tesk_create_port_context(ethernet(31), 1), nullptr);
  EXPECT_EQ(tesk_vlan_hash_get_ltl(4095), 0x80000000u);
  ignore_rest();
}

TEST_F(PortContext, IsNotMadeForAnIndexOfUnknownType) {
  EXPECT_EQ(tesk_create_port_context(0x99000001, 1), nullptr);
  EXPECT_EQ(tesk_create_port_context(0x7, 1), nullptr);
  expect({error_of(creation, ":Invalid interface index 0x99000001\n"),
          error_of(creation, ":Invalid interface index 0x00000007\n")});
}

TEST_F(PortContext, WithAShortIndexIsTracedWithoutZeros) {
  constexpr uint32_t short_index = 0x5000003;
  created(short_index);
  EXPECT_EQ(tesk_create_port_context(short_index, 1), nullptr);
  when("tesk_fib_purge_port_entries").returns(0);
  when("tesk_ifindex_hash_delete").once().returns(0);
  EXPECT_EQ(tesk_delete_port_context(short_index), 0u);
  EXPECT_EQ(tesk_delete_port_context(short_index), 6u);
  for (const char *const text : {": Failed to purge FIB entries for Port [0x5000003]\n",
                                 ": Failed to delete port context(0x5000003) from hash\n",
                                 ": Failed to retrieve the port context for if_index(0x5000003)\n"})
    EXPECT_EQ(count_of(error_of(deletion, text)), 1u) << text;
  EXPECT_EQ(count_of(error_of(creation, ": Failed to add port context(0x5000003) to hash\n")), 1u);
  ignore_rest();
}

TEST_F(PortContext, IsNotMadeSilentlyWhenMemoryIsShort) {
  fail_allocation(1);
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 1), nullptr);
  expect({});
}

TEST_F(PortContext, IsNotMadeWithoutAnAsicPort) {
  when("ltlsvc_lib_ifidx_to_di").returns(RCODE_INVALID);
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 1), nullptr);
  expect({"ltlsvc_lib_ifidx_to_di(0x1a000003)",
          error_of("tesk_ifindex_to_kes_port", ":if_index_get_port failed for ifindex 0x1a000003\n"),
          error_of(creation, ":Failed to retrieve Kestrix Port ID\n")});
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
}

TEST_F(PortContext, IsNotMadeForAsicPort255) {
  EXPECT_EQ(tesk_create_port_context(ethernet(255), 1), nullptr);
  expect(lines(converted(ethernet(255)), error_of(creation, ":Failed to retrieve Kestrix Port ID\n")));
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(255)), nullptr);
}

TEST_F(PortContext, IsNotMadeTwice) {
  const tesk_port_t *first = created(ethernet(3));
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 1), nullptr);
  expect(lines(converted(ethernet(3)),
               error_of("tesk_ifindex_hash_insert", ": IfIndex (0x1a000003) already exists on Hash Tbl\n"),
               error_of(creation, ": Failed to add port context(0x1a000003) to hash\n")));
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), first);
}

TEST_F(PortContext, IsNotMadeWithoutATableEntry) {
  fail_allocation(2);
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 1), nullptr);
  expect(lines(converted(ethernet(3)),
               error_of(creation, ": Failed to add port context(0x1a000003) to hash\n")));
}

TEST_F(PortContext, ThatCannotJoinTheSolVlanLeavesAnEntryWithoutContext) {
  sol_is_absent();
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 1), nullptr);
  expect(lines(converted(ethernet(3)), port_pushed("0x1a000003 type 26 asic 3 [4095 blk]"),
               error_of(creation, ":Failed to retrieve Kestrix Port ID\n")));
  ASSERT_NE(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  EXPECT_EQ((*tesk_ifindex_hash_find_(ethernet(3)))->param, nullptr);
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), nullptr);
  EXPECT_EQ(tesk_kes_port_to_port_context(3), nullptr);
}

TEST_F(PortContext, IsRefusedWhereAnEntryWithoutContextIsLeft) {
  sol_is_absent();
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 1), nullptr);
  ASSERT_TRUE(tesk_vlan_hash_insert(4095));
  forget();
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 1), nullptr);
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 6u);
  expect(lines(converted(ethernet(3)),
               error_of("tesk_ifindex_hash_insert", ": IfIndex (0x1a000003) already exists on Hash Tbl\n"),
               error_of(creation, ": Failed to add port context(0x1a000003) to hash\n"),
               error_of(deletion, ": Failed to retrieve the port context for if_index(0x1a000003)\n")));
}

TEST_F(PortContext, LeftAsAnEntryAloneIsTakenOutWithTheKernelModulesRefusal) {
  EXPECT_TRUE(tesk_ifindex_hash_insert(ethernet(3), nullptr));
  forget();
  EXPECT_TRUE(tesk_ifindex_hash_delete(ethernet(3)));
  expect(lines(entered("tesk_krnl_del_port"), error("tesk_krnl_del_port", "Invalid Input\n"),
               error("tesk_ifindex_hash_delete", "Synchronization with kernel failed\n")));
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
}

TEST_F(PortContext, ThatIsUnknownCannotBeDeleted) {
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 6u);
  expect({error_of(deletion, ": Failed to retrieve the port context for if_index(0x1a000003)\n")});
}

TEST_F(PortContext, LeavesNothingBehind) {
  const uint8_t address[6] = {2, 0, 0, 0, 0, 1};
  tesk_port_t *port = created(ethernet(3));
  created(ethernet(4));
  EXPECT_TRUE(tesk_fib_hash_insert(address, port, 4095));
  tesk_krnl_port_info_dirty(port);
  forget();
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 0u);
  expect(lines(ltl_set(4095, 0x10), vlan_marked(), port_removed(ethernet(3))));
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  EXPECT_EQ(tesk_kes_port_to_port_context(3), nullptr);
  EXPECT_EQ(tesk_vlan_hash_get_ltl(4095), 0x10u);
  EXPECT_EQ(tesk_fib_hash_lookup(address, 4095), nullptr);
  EXPECT_EQ(dirty_port_count, 0);
}

TEST_F(PortContext, OfAPortChannelFreesTheSlotsOfItsMembers) {
  channel_has(7, ethernet(5), {ethernet(5), ethernet(6)});
  ASSERT_NE(created(port_channel(7)), nullptr);
  EXPECT_EQ(tesk_delete_port_context(port_channel(7)), 0u);
  expect(lines(ltl_set(4095, 0), vlan_marked(), port_removed(port_channel(7))));
  EXPECT_EQ(tesk_kes_port_to_port_context(5), nullptr);
  EXPECT_EQ(tesk_kes_port_to_port_context(6), nullptr);
}

TEST_F(PortContext, IsMadeAndDeletedThoughTheSolVlansMaskCannotBeSet) {
  when("tesk_vlan_hash_set_ltl").returns(0);
  EXPECT_NE(tesk_create_port_context(ethernet(3), 1), nullptr);
  expect(lines(converted(ethernet(3)), port_pushed("0x1a000003 type 26 asic 3 [4095 blk]"),
               error_of(creation, ": Failed to set LTL(0x8) for VLAN(4095)\n"), vlan_marked()));
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 0u);
  expect(lines(error_of(deletion, ": Failed to set LTL(0x0) for VLAN(4095)\n"), vlan_marked(),
               port_removed(ethernet(3))));
}

TEST_F(PortContext, IsDeletedThoughItsMacEntriesOrItsTableEntryStay) {
  const tesk_port_t *port = created(ethernet(3));
  ASSERT_NE(port, nullptr);
  when("tesk_fib_purge_port_entries").returns(0);
  when("tesk_ifindex_hash_delete").returns(0);
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 0u);
  expect(lines(error_of(deletion, ": Failed to purge FIB entries for Port [0x1a000003]\n"), ltl_set(4095, 0),
               vlan_marked(), error_of(deletion, ": Failed to delete port context(0x1a000003) from hash\n")));
  (*tesk_ifindex_hash_find_(ethernet(3)))->param = nullptr;
}

TEST_F(PortContext, IsDeletedThoughTheSolVlanIsAbsent) {
  created(ethernet(3));
  sol_is_absent();
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 0u);
  expect(lines(error_of(deletion, ":Failed to retrieve Kestrix Port ID\n"), port_removed(ethernet(3))));
}

/* Once the entry kept its pointer to the freed context, and the next walk read that. */
TEST_F(PortContext, WhoseEntryCannotBeFoundAtItsEndLeavesTheEntryWithoutContext) {
  ASSERT_NE(tesk_create_port_context(ethernet(3), 3), nullptr);
  const ifindex_hash_entry_t *entry = *tesk_ifindex_hash_find_(ethernet(3));
  forget();
  when("if_index_get_port").call(2).returns(RCODE_INVALID);
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 0u);
  EXPECT_EQ(entry->param, nullptr);
  EXPECT_EQ(count_of(error_of(deletion, ": Failed to delete port context(0x1a000003) from hash\n")), 1u);
  ignore_rest();
}

/* Once the entry was looked up a second time, and the result was not checked. */
TEST_F(PortContext, ThatCannotJoinTheSolVlanNeedsNoSecondLookUpOfItsEntry) {
  sol_is_absent();
  when("if_index_get_port").call(3).returns(RCODE_INVALID);
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 3), nullptr);
  EXPECT_EQ(ifidx_bucket[3]->param, nullptr);
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr) << "the third look-up is this one";
  ignore_rest();
}

TEST_F(PortContext, IsDeletedThoughTheKernelModuleRefuses) {
  created(ethernet(3));
  when("ioctl").returns(-1).with_errno(EIO);
  EXPECT_EQ(tesk_delete_port_context(ethernet(3)), 0u);
  expect(lines(ltl_set(4095, 0), vlan_marked(), port_removed(ethernet(3)),
               error("tesk_krnl_del_port", "ioctl failure: 5\n"),
               error("tesk_ifindex_hash_delete", "Synchronization with kernel failed\n")));
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
}

}  // namespace
