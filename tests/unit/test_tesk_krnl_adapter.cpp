/* The kernel module's copy of the tables: what is sent, when, and what a refusal leads to. */
#include "tesk/tesk_krnl_adapter.h"

#include <cerrno>
#include <deque>

#include "tests/unit/daemon_test.h"

namespace {

/** The device is open; the tables are up and nothing is dirty. */
class KernelAdapter : public DaemonTest {
 protected:
  KernelAdapter() { bring_up_tables(); }

  /** A context outside the table. */
  tesk_port_t &port(uint32_t number) {
    tesk_port_t &made = ports.emplace_back();
    made.if_idx = ethernet(number);
    made.if_type = 26;
    made.kestrix_port = static_cast<uint8_t>(number);
    made.vlan_bmp.size = made.vlan_cbl_bmp.size = 512;
    return made;
  }

  /** An entry outside the table. */
  vlan_hash_entry_t &vlan(uint16_t number, uint32_t ltl = 0, uint32_t cbl = 0) {
    vlan_hash_entry_t &made = vlans.emplace_back();
    made.vlan = number;
    made.ltl = ltl;
    made.cbl = cbl;
    return made;
  }

  std::deque<tesk_port_t> ports;
  std::deque<vlan_hash_entry_t> vlans;
};

TEST_F(KernelAdapter, OpensTheDevice) {
  teskkfd = -1;
  EXPECT_EQ(tesk_krnl_adapter_init(), 0u);
  EXPECT_EQ(teskkfd, module_descriptor);
  expect({control("tesk_krnl_adapter_init", "\n"), "open('/dev/klm_tesk', O_RDONLY)"});
}

TEST_F(KernelAdapter, AcceptsDescriptorZero) {
  when("open").returns(0);
  EXPECT_EQ(tesk_krnl_adapter_init(), 0u);
  EXPECT_EQ(teskkfd, 0);
  ignore_rest();
}

TEST_F(KernelAdapter, TracesADeviceThatDoesNotOpen) {
  when("open").returns(-1).with_errno(ENXIO);
  EXPECT_EQ(tesk_krnl_adapter_init(), 5u);
  expect({control("\n"), "open('/dev/klm_tesk', O_RDONLY)",
          error("tesk_krnl_adapter_init", "Failed to open /dev/klm_tesk, err:6\n")});
}

TEST_F(KernelAdapter, AsksADeviceThatDidNotOpenAllTheSame) {
  teskkfd = -1;
  when("open").returns(-1).with_errno(ENOENT);
  EXPECT_EQ(tesk_krnl_adapter_init(), 5u);
  forget();
  when("ioctl").returns(-1).with_errno(EBADF);
  EXPECT_EQ(tesk_krnl_add_or_update_vlan(&vlan(100)), 5u);
  EXPECT_EQ(tesk_krnl_del_port(&port(3)), 5u);
  expect_apart_from_control({"ioctl(-1, add_or_update_vlans, {100 ports 0x0})",
                             error("tesk_krnl_add_or_update_vlans", "ioctl failure: 9\n"),
                             "ioctl(-1, del_port, 0x1a000003)",
                             error("tesk_krnl_del_port", "ioctl failure: 9\n")});
}

TEST_F(KernelAdapter, TracesTheEntryIntoEachOperation) {
  vlan_hash_entry_t &entry = vlan(100);
  tesk_port_t &context = port(3);
  tesk_cli_sh_stat_t stat;
  tesk_krnl_vlan_info_dirty_(&entry);
  tesk_krnl_port_info_dirty(&context);
  tesk_krnl_del_vlan(&entry);
  tesk_krnl_del_port(&context);
  tesk_krnl_add_or_update_vlan(&entry);
  tesk_krnl_add_or_update_port(&context);
  tesk_krnl_do_sync();
  tesk_krnl_get_port_counters(ethernet(3), &stat);
  for (const char *operation :
       {"tesk_krnl_vlan_info_dirty_", "tesk_krnl_port_info_dirty", "tesk_krnl_del_vlan", "tesk_krnl_del_port",
        "tesk_krnl_add_or_update_vlan", "tesk_krnl_add_or_update_vlans", "tesk_krnl_add_or_update_port",
        "tesk_krnl_add_or_update_ports", "tesk_krnl_do_sync", "tesk_krnl_get_port_counters"})
    EXPECT_EQ(count_of(control(operation, "\n")), 1u) << operation;
  ignore_rest();
}

TEST_F(KernelAdapter, TracesTheEntryIntoEachSynchronisation) {
  tesk_krnl_sync_port();
  tesk_krnl_sync_vlan();
  EXPECT_EQ(count_of(control("tesk_krnl_sync_port", "\n")), 1u);
  EXPECT_EQ(count_of(control("tesk_krnl_sync_vlan", "\n")), 1u);
  ignore_rest();
}

TEST_F(KernelAdapter, TracesTheEntryBeforeARefusal) {
  tesk_krnl_add_or_update_vlans(nullptr, 0);
  tesk_krnl_add_or_update_ports(nullptr, 0);
  tesk_krnl_del_vlan(nullptr);
  tesk_krnl_del_port(nullptr);
  tesk_krnl_get_port_counters(ethernet(0), nullptr);
  tesk_krnl_vlan_info_dirty(101);
  Lines refused;
  for (const char *operation : {"tesk_krnl_add_or_update_vlans", "tesk_krnl_add_or_update_ports",
                                "tesk_krnl_del_vlan", "tesk_krnl_del_port", "tesk_krnl_get_port_counters"}) {
    refused.push_back(control(operation, "\n"));
    refused.push_back(error(operation, "Invalid Input\n"));
  }
  refused.push_back(control("tesk_krnl_vlan_info_dirty", "\n"));
  expect(refused);
}

TEST_F(KernelAdapter, CountsARecordOnceHoweverOftenItChanges) {
  tesk_port_t &context = port(3);
  vlan_hash_entry_t &entry = vlan(100);
  for (int i = 0; i < 2; ++i) {
    tesk_krnl_port_info_dirty(&context);
    tesk_krnl_vlan_info_dirty_(&entry);
  }
  EXPECT_EQ(dirty_port_count, 1);
  EXPECT_EQ(dirty_vlan_count, 1);
  ignore_rest();
}

TEST_F(KernelAdapter, FindsAVlanToMarkByItsNumber) {
  tesk_vlan_hash_insert(100);
  tesk_krnl_vlan_info_dirty(100);
  tesk_krnl_vlan_info_dirty(101);
  EXPECT_EQ(dirty_vlan_count, 1);
  EXPECT_TRUE((*tesk_vlan_hash_find_(100))->is_dirty);
  ignore_rest();
}

TEST_F(KernelAdapter, SendsThePortsOfAVlanThatForwardIt) {
  vlan_hash_entry_t &entry = vlan(100, 0x5, 0x4);
  EXPECT_EQ(tesk_krnl_add_or_update_vlan(&entry), 0u);
  expect_apart_from_control({"ioctl(31, add_or_update_vlans, {100 ports 0x4})"});
}

TEST_F(KernelAdapter, LaysAVlanListOutAsTheModuleReadsIt) {
  vlan_hash_entry_t &entry = vlan(0x0123, 0xffffffff, 0x01020304);
  EXPECT_EQ(tesk_krnl_add_or_update_vlan(&entry), 0u);
  const Bytes start = Payload().u16(1).u16(0).u16(0x0123).u16(0).u32(0x01020304);
  ASSERT_EQ(last_module_record().size(), 124u);
  EXPECT_TRUE(std::equal(start.begin(), start.end(), last_module_record().begin()));
  ignore_rest();
}

TEST_F(KernelAdapter, LaysAPortListOutAsTheModuleReadsIt) {
  tesk_port_t &context = port(3);
  tesk_port_add_vlan(&context, 100);
  tesk_port_add_vlan(&context, 200);
  bitset_set_bit(&context.vlan_cbl_bmp, 200);
  EXPECT_EQ(tesk_krnl_add_or_update_port(&context), 0u);
  const Bytes start =
      Payload().u16(1).u16(0).u32(0x1a000003).u8(26).u8(3).u16(2).u16(100).u8(0).u8(0).u16(200).u8(1).u8(0);
  ASSERT_EQ(last_module_record().size(), 1432u);
  EXPECT_TRUE(std::equal(start.begin(), start.end(), last_module_record().begin()));
  ignore_rest();
}

TEST_F(KernelAdapter, LaysADeletionOutAsTheModuleReadsIt) {
  EXPECT_EQ(tesk_krnl_del_vlan(&vlan(0x0123)), 0u);
  EXPECT_EQ(last_module_record(), Bytes(Payload().u16(0x0123)));
  EXPECT_EQ(tesk_krnl_del_port(&port(3)), 0u);
  EXPECT_EQ(last_module_record(), Bytes(Payload().u32(0x1a000003)));
  ignore_rest();
}

TEST_F(KernelAdapter, SendsFifteenVlansAndRefusesSixteen) {
  std::vector<vlan_hash_entry_t *> list;
  for (uint16_t number = 1; number <= 16; ++number) list.push_back(&vlan(number));
  EXPECT_EQ(tesk_krnl_add_or_update_vlans(list.data(), 15), 0u);
  EXPECT_EQ(last_module_record().size(), 124u);
  forget();
  EXPECT_EQ(tesk_krnl_add_or_update_vlans(list.data(), 16), 5u);
  expect_apart_from_control({error("tesk_krnl_add_or_update_vlans", "Invalid VLAN Count\n")});
}

TEST_F(KernelAdapter, SendsEachVlanOfAListInItsOrder) {
  vlan_hash_entry_t *list[] = {&vlan(100, 1, 1), &vlan(200, 2, 2), &vlan(50, 4, 4)};
  EXPECT_EQ(tesk_krnl_add_or_update_vlans(list, 3), 0u);
  expect_apart_from_control({"ioctl(31, add_or_update_vlans, {100 ports 0x1; 200 ports 0x2; 50 ports 0x4})"});
}

TEST_F(KernelAdapter, SendsAnEmptyListOfVlans) {
  vlan_hash_entry_t *none = nullptr;
  EXPECT_EQ(tesk_krnl_add_or_update_vlans(&none, 0), 0u);
  expect_apart_from_control({"ioctl(31, add_or_update_vlans, {})"});
}

TEST_F(KernelAdapter, SendsTwentyOnePortsAndRefusesTwentyTwo) {
  std::vector<tesk_port_t *> list;
  for (uint32_t number = 0; number < 22; ++number) list.push_back(&port(number));
  EXPECT_EQ(tesk_krnl_add_or_update_ports(list.data(), 21), 0u);
  EXPECT_EQ(last_module_record().size(), 1432u);
  forget();
  EXPECT_EQ(tesk_krnl_add_or_update_ports(list.data(), 22), 5u);
  expect_apart_from_control({error("tesk_krnl_add_or_update_ports", "Invalid Port Count\n")});
}

TEST_F(KernelAdapter, RefusesANullList) {
  EXPECT_EQ(tesk_krnl_add_or_update_vlans(nullptr, 0), 5u);
  EXPECT_EQ(tesk_krnl_add_or_update_ports(nullptr, 0), 5u);
  EXPECT_EQ(tesk_krnl_del_vlan(nullptr), 5u);
  EXPECT_EQ(tesk_krnl_del_port(nullptr), 5u);
  EXPECT_EQ(tesk_krnl_get_port_counters(ethernet(0), nullptr), 5u);
  expect_apart_from_control({error("tesk_krnl_add_or_update_vlans", "Invalid Input\n"),
                             error("tesk_krnl_add_or_update_ports", "Invalid Input\n"),
                             error("tesk_krnl_del_vlan", "Invalid Input\n"),
                             error("tesk_krnl_del_port", "Invalid Input\n"),
                             error("tesk_krnl_get_port_counters", "Invalid Input\n")});
}

TEST_F(KernelAdapter, StopsAtANullPortAndSendsNothing) {
  tesk_port_t *list[] = {&port(1), nullptr, &port(2)};
  list[0]->is_dirty = list[2]->is_dirty = true;
  EXPECT_EQ(tesk_krnl_add_or_update_ports(list, 3), 5u);
  expect_apart_from_control({error("tesk_krnl_add_or_update_ports", "Invalid Port instance\n")});
  EXPECT_FALSE(list[0]->is_dirty) << "the entries before it were filled";
  EXPECT_EQ(port_lst.port_cnt, 3);
  EXPECT_EQ(port_lst.port_lst[0].if_idx, ethernet(1));
  EXPECT_EQ(port_lst.port_lst[2].if_idx, 0u);
  EXPECT_TRUE(list[2]->is_dirty);
}

TEST_F(KernelAdapter, SendsAllOfFifteenVlansOfAPort) {
  tesk_port_t &context = port(3);
  for (uint16_t number = 10; number < 25; ++number) tesk_port_add_vlan(&context, number);
  EXPECT_EQ(tesk_krnl_add_or_update_port(&context), 0u);
  expect_apart_from_control(
      {"ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [10 blk, 11 blk, 12 blk, 13 blk, 14 blk, "
       "15 blk, 16 blk, 17 blk, 18 blk, 19 blk, 20 blk, 21 blk, 22 blk, 23 blk, 24 blk]})"});
}

TEST_F(KernelAdapter, SendsTheFifteenLowestOfSixteenVlansOfAPort) {
  tesk_port_t &context = port(3);
  tesk_port_add_vlan(&context, 4095);
  for (uint16_t number = 24; number >= 10; --number) tesk_port_add_vlan(&context, number);
  bitset_set_bit(&context.vlan_cbl_bmp, 10);
  EXPECT_EQ(tesk_krnl_add_or_update_port(&context), 0u);
  expect_apart_from_control(
      {error("tesk_krnl_add_or_update_ports", "Max VLAN count reached for port: 0x1a000003\n"),
       "ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [10 fwd, 11 blk, 12 blk, 13 blk, 14 blk, "
       "15 blk, 16 blk, 17 blk, 18 blk, 19 blk, 20 blk, 21 blk, 22 blk, 23 blk, 24 blk]})"});
  EXPECT_EQ(port_lst.port_lst[1].if_idx, 0u) << "the next record is not written into";
}

TEST_F(KernelAdapter, SendsThePortBehindOneWithTooManyVlans) {
  tesk_port_t &full = port(3);
  for (uint16_t number = 10; number < 26; ++number) tesk_port_add_vlan(&full, number);
  tesk_port_t &next = port(4);
  tesk_port_add_vlan(&next, 30);
  tesk_port_t *list[] = {&full, &next};
  full.is_dirty = next.is_dirty = true;
  EXPECT_EQ(tesk_krnl_add_or_update_ports(list, 2), 0u);
  expect_apart_from_control(
      {error("tesk_krnl_add_or_update_ports", "Max VLAN count reached for port: 0x1a000003\n"),
       "ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [10 blk, 11 blk, 12 blk, 13 blk, 14 blk, "
       "15 blk, 16 blk, 17 blk, 18 blk, 19 blk, 20 blk, 21 blk, 22 blk, 23 blk, 24 blk]; "
       "0x1a000004 type 26 asic 4 [30 blk]})"});
  EXPECT_FALSE(full.is_dirty);
  EXPECT_FALSE(next.is_dirty);
}

TEST_F(KernelAdapter, ReturnsAFailedPushOfVlansButNotOneOfPorts) {
  when("ioctl").returns(-1).with_errno(EINVAL);
  EXPECT_EQ(tesk_krnl_add_or_update_vlan(&vlan(100)), 5u);
  EXPECT_EQ(tesk_krnl_add_or_update_port(&port(3)), 0u);
  expect_apart_from_control({"ioctl(31, add_or_update_vlans, {100 ports 0x0})",
                             error("tesk_krnl_add_or_update_vlans", "ioctl failure: 22\n"),
                             "ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 []})",
                             error("tesk_krnl_add_or_update_ports", "ioctl failure: 22\n")});
}

TEST_F(KernelAdapter, ClearsTheFlagButNotTheCountOfARecordPushedSingly) {
  tesk_port_t &context = port(3);
  vlan_hash_entry_t &entry = vlan(100);
  tesk_krnl_port_info_dirty(&context);
  tesk_krnl_vlan_info_dirty_(&entry);
  tesk_krnl_add_or_update_port(&context);
  tesk_krnl_add_or_update_vlan(&entry);
  EXPECT_FALSE(context.is_dirty);
  EXPECT_FALSE(entry.is_dirty);
  EXPECT_EQ(dirty_port_count, 1);
  EXPECT_EQ(dirty_vlan_count, 1);
  ignore_rest();
}

TEST_F(KernelAdapter, UncountsADirtyRecordThatIsDeleted) {
  tesk_port_t &context = port(3);
  vlan_hash_entry_t &entry = vlan(100);
  tesk_krnl_port_info_dirty(&context);
  tesk_krnl_vlan_info_dirty_(&entry);
  EXPECT_EQ(tesk_krnl_del_port(&context), 0u);
  EXPECT_EQ(tesk_krnl_del_vlan(&entry), 0u);
  EXPECT_FALSE(context.is_dirty);
  EXPECT_FALSE(entry.is_dirty);
  EXPECT_EQ(dirty_port_count, 0);
  EXPECT_EQ(dirty_vlan_count, 0);
  expect_apart_from_control({"ioctl(31, del_port, 0x1a000003)", "ioctl(31, del_vlan, 100)"});
}

TEST_F(KernelAdapter, UncountsADirtyRecordWhoseDeletionIsRefused) {
  tesk_port_t &context = port(3);
  vlan_hash_entry_t &entry = vlan(100);
  tesk_krnl_port_info_dirty(&context);
  tesk_krnl_vlan_info_dirty_(&entry);
  when("ioctl").returns(-1).with_errno(ENOENT);
  EXPECT_EQ(tesk_krnl_del_port(&context), 5u);
  EXPECT_EQ(tesk_krnl_del_vlan(&entry), 5u);
  EXPECT_FALSE(context.is_dirty);
  EXPECT_FALSE(entry.is_dirty);
  EXPECT_EQ(dirty_port_count, 0);
  EXPECT_EQ(dirty_vlan_count, 0);
  ignore_rest();
}

TEST_F(KernelAdapter, LeavesTheCountsWhenACleanRecordIsDeleted) {
  EXPECT_EQ(tesk_krnl_del_port(&port(3)), 0u);
  EXPECT_EQ(tesk_krnl_del_vlan(&vlan(100)), 0u);
  EXPECT_EQ(dirty_port_count, 0);
  EXPECT_EQ(dirty_vlan_count, 0);
  ignore_rest();
}

TEST_F(KernelAdapter, ReturnsAFailedDeletion) {
  when("ioctl").returns(-1).with_errno(ENOENT);
  EXPECT_EQ(tesk_krnl_del_port(&port(3)), 5u);
  EXPECT_EQ(tesk_krnl_del_vlan(&vlan(100)), 5u);
  expect_apart_from_control({"ioctl(31, del_port, 0x1a000003)",
                             error("tesk_krnl_del_port", "ioctl failure: 2\n"), "ioctl(31, del_vlan, 100)",
                             error("tesk_krnl_del_vlan", "ioctl failure: 2\n")});
}

TEST_F(KernelAdapter, ReadsAPortsCounters) {
  module_counts(ethernet(3), {1, 2, 3, 4});
  tesk_cli_sh_stat_t stat = {9, 9, 9, 9, 9};
  EXPECT_EQ(tesk_krnl_get_port_counters(ethernet(3), &stat), 0u);
  EXPECT_EQ(stat.tx_pkt_ucast, 1u);
  EXPECT_EQ(stat.tx_pkt_mcast, 2u);
  EXPECT_EQ(stat.rx_pkt_ucast, 3u);
  EXPECT_EQ(stat.rx_pkt_mcast, 4u);
  EXPECT_EQ(stat.if_idx, ethernet(3));
  expect_apart_from_control({"ioctl(31, get_port_counters, 0x1a000003)"});
}

TEST_F(KernelAdapter, LeavesTheRecordAloneWhenThereAreNoCounters) {
  tesk_cli_sh_stat_t stat = {9, 8, 7, 6, 5};
  EXPECT_EQ(tesk_krnl_get_port_counters(ethernet(3), &stat), 5u);
  EXPECT_EQ(stat.tx_pkt_ucast, 9u);
  EXPECT_EQ(stat.tx_pkt_mcast, 8u);
  EXPECT_EQ(stat.rx_pkt_ucast, 7u);
  EXPECT_EQ(stat.rx_pkt_mcast, 6u);
  EXPECT_EQ(stat.if_idx, 5u);
  expect_apart_from_control({"ioctl(31, get_port_counters, 0x1a000003)",
                             error("tesk_krnl_get_port_counters", "ioctl failure: 19\n")});
}

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
  // A context that cannot join the SoL VLAN at birth leaves its entry behind.
  tesk_vlan_hash_delete(4095);
  EXPECT_EQ(tesk_create_port_context(ethernet(3), 3), nullptr);
  ASSERT_NE(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  tesk_port_t *list[21] = {};
  uint16_t count = 7;
  EXPECT_EQ(tesk_port_get_dirty_list(list, &count), 0u);
  EXPECT_EQ(count, 0);
  ignore_rest();
}

TEST(KernelRequests, AreNumberedInTheModulesOrder) {
  EXPECT_EQ(_IOC_NR(TESKK_ADD_OR_UPDATE_VLANS), 0u);
  EXPECT_EQ(_IOC_NR(TESKK_DEL_VLAN), 1u);
  EXPECT_EQ(_IOC_NR(TESKK_ADD_OR_UPDATE_PORTS), 2u);
  EXPECT_EQ(_IOC_NR(TESKK_DEL_PORT), 3u);
  EXPECT_EQ(_IOC_NR(TESKK_GET_PORT_COUNTERS), 4u);
}

TEST(KernelRequests, CarryTypeDirectionAndSize) {
  const struct {
    uint32_t request;
    uint32_t direction;
    uint32_t size;
  } requests[] = {{TESKK_ADD_OR_UPDATE_VLANS, _IOC_WRITE, 124},
                  {TESKK_DEL_VLAN, _IOC_WRITE, 2},
                  {TESKK_ADD_OR_UPDATE_PORTS, _IOC_WRITE, 1432},
                  {TESKK_DEL_PORT, _IOC_WRITE, 4},
                  {TESKK_GET_PORT_COUNTERS, _IOC_READ, 20}};
  for (const auto &[request, direction, size] : requests) {
    EXPECT_EQ(_IOC_TYPE(request), 0x73u);
    EXPECT_EQ(_IOC_DIR(request), direction);
    EXPECT_EQ(_IOC_SIZE(request), size);
  }
}

}  // namespace
