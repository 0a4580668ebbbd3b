/* The kernel module's copy of the tables: the requests sent, and the effects of a refusal. */
#include "tesk/tesk_krnl_adapter.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
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

  /** A context that the module has. */
  tesk_port_t &pushed_port(uint32_t number) {
    tesk_port_t &made = port(number);
    tesk_krnl_add_or_update_port(&made);
    forget();
    return made;
  }

  /** An entry that the module has. */
  vlan_hash_entry_t &pushed_vlan(uint16_t number) {
    vlan_hash_entry_t &made = vlan(number);
    tesk_krnl_add_or_update_vlan(&made);
    forget();
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
  tesk_krnl_add_or_update_vlan(&entry);
  tesk_krnl_add_or_update_port(&context);
  tesk_krnl_del_vlan(&entry);
  tesk_krnl_del_port(&context);
  tesk_krnl_get_port_counters(ethernet(3), &stat);
  for (const char *operation : {"tesk_krnl_del_vlan", "tesk_krnl_del_port", "tesk_krnl_add_or_update_vlan",
                                "tesk_krnl_add_or_update_vlans", "tesk_krnl_add_or_update_port",
                                "tesk_krnl_add_or_update_ports", "tesk_krnl_get_port_counters"})
    EXPECT_EQ(count_of(control(operation, "\n")), 1u) << operation;
  ignore_rest();
}

TEST_F(KernelAdapter, TracesTheEntryBeforeARefusal) {
  tesk_krnl_add_or_update_vlans(nullptr, 0);
  tesk_krnl_add_or_update_ports(nullptr, 0);
  tesk_krnl_del_vlan(nullptr);
  tesk_krnl_del_port(nullptr);
  tesk_krnl_get_port_counters(ethernet(0), nullptr);
  Lines refused;
  for (const char *operation : {"tesk_krnl_add_or_update_vlans", "tesk_krnl_add_or_update_ports",
                                "tesk_krnl_del_vlan", "tesk_krnl_del_port", "tesk_krnl_get_port_counters"}) {
    refused.push_back(control(operation, "\n"));
    refused.push_back(error(operation, "Invalid Input\n"));
  }
  expect(refused);
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
  EXPECT_EQ(tesk_krnl_del_vlan(&pushed_vlan(0x0123)), 0u);
  EXPECT_EQ(last_module_record(), Bytes(Payload().u16(0x0123)));
  EXPECT_EQ(tesk_krnl_del_port(&pushed_port(3)), 0u);
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
  tesk_port_t *two[] = {&port(1), &port(2)};
  tesk_krnl_add_or_update_ports(two, 2);
  const Bytes before = last_module_record();
  forget();
  tesk_port_t &context = port(3);
  tesk_port_add_vlan(&context, 4095);
  for (uint16_t number = 24; number >= 10; --number) tesk_port_add_vlan(&context, number);
  bitset_set_bit(&context.vlan_cbl_bmp, 10);
  EXPECT_EQ(tesk_krnl_add_or_update_port(&context), 0u);
  expect_apart_from_control(
      {error("tesk_krnl_add_or_update_ports", "Max VLAN count reached for port: 0x1a000003\n"),
       "ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [10 fwd, 11 blk, 12 blk, 13 blk, 14 blk, "
       "15 blk, 16 blk, 17 blk, 18 blk, 19 blk, 20 blk, 21 blk, 22 blk, 23 blk, 24 blk]})"});
  const size_t next = offsetof(teskk_port_list_t, port_lst) + sizeof(teskk_port_info_t);
  EXPECT_TRUE(std::equal(before.begin() + next, before.end(), last_module_record().begin() + next))
      << "the next record is not written into";
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
  tesk_port_t &context = pushed_port(3);
  vlan_hash_entry_t &entry = pushed_vlan(100);
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
  EXPECT_EQ(tesk_krnl_del_port(&pushed_port(3)), 0u);
  EXPECT_EQ(tesk_krnl_del_vlan(&pushed_vlan(100)), 0u);
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
