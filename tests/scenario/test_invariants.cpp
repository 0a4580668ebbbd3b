/* Tests of the invariants: each detects the fault that it is for. */
#include "tests/scenario/invariants.h"

#include <cstdlib>

#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

constexpr uint8_t address[6] = {2, 0, 0, 0, 0, 1};

/** A daemon with CIN VLAN 100, port 3 up in it, and one learnt address. All invariants hold. */
class Invariants : public TablesTest {
 protected:
  Invariants() : TablesTest({100}), port(port_is_up(ethernet(3), {100})) {
    tesk_fib_hash_insert(address, port, 100);
    tesk_krnl_do_sync();
    expect_invariants();
    ignore_rest();
  }

  /** Expects exactly this sentence. */
  static void expect_finding(const std::string &sentence) {
    EXPECT_EQ(broken_invariants(), std::vector<std::string>{sentence});
  }

  tesk_port_t *port;
};

// A pointer that is no block of the daemon's heap stands for a freed block.

TEST_F(Invariants, SeeAContextThatWasFreed) {
  tesk_port_t gone{};
  ifindex_hash_entry_t *entry = *tesk_ifindex_hash_find_(ethernet(3));
  entry->param = &gone;
  EXPECT_EQ(broken_invariants().front(), "the entry of port 0x1a000003 points at freed memory");
  entry->param = port;
}

TEST_F(Invariants, SeeAnEntryThatWasFreed) {
  vlan_hash_entry_t gone{};
  vlan_bucket[7] = &gone;
  expect_finding("bucket 7 of the VLAN table leads to freed memory");
  vlan_bucket[7] = nullptr;
}

TEST_F(Invariants, SeeAChainThatNeverEnds) {
  vlan_hash_entry_t *entry = *tesk_vlan_hash_find_(100);
  entry->next = entry;
  expect_finding("bucket 4 of the VLAN table leads to an entry a second time");
  entry->next = nullptr;
}

TEST_F(Invariants, SeeAnEntryInTheWrongBucket) {
  std::swap(fib_bucket[1], fib_bucket[2]);
  expect_finding("an entry in bucket 2 of the address table belongs into bucket 1");
}

TEST_F(Invariants, SeeAKeyTwice) {
  auto *twin = static_cast<tesk_fib_entry_t *>(std::malloc(sizeof(tesk_fib_entry_t)));
  *twin = *fib_bucket[1];
  twin->next = fib_bucket[1];
  fib_bucket[1] = twin;
  expect_finding("bucket 1 of the address table holds a key for the second time");
}

TEST_F(Invariants, SeeASlotOfThePortMapWithoutItsPort) {
  tesk_port_t stranger{};
  kes_port_map[9] = &stranger;
  expect_finding("slot 9 of the port map points at no context of the port table");
}

TEST_F(Invariants, SeeAnAddressWithoutItsPort) {
  fib_bucket[1]->tesk_port = nullptr;
  expect_finding("the address ending in 01 was learnt on a port that is gone");
}

TEST_F(Invariants, SeeACountBelowZero) {
  cin_vlan_count = -1;
  expect_finding("the count of CIN VLANs is -1");
}

TEST_F(Invariants, SeeAVlanThatWasNeverActivated) {
  ASSERT_TRUE(tesk_cli_vlan_add_handler(200));
  tesk_vlan_hash_set_ltl(200, 0x8);
  tesk_krnl_do_sync();
  expect_finding("VLAN 200 has ports 0x8 and was not activated");
}

TEST_F(Invariants, SeeADirtyPortThatWasNotPushed) {
  port->is_dirty = true;
  expect_finding("1 dirty ports were not pushed");
}

TEST_F(Invariants, SeeADirtyVlanThatWasNotPushed) {
  (*tesk_vlan_hash_find_(100))->is_dirty = true;
  expect_finding("1 dirty VLANs were not pushed");
}

TEST_F(Invariants, SeeAPortThatDiffersInTheModule) {
  tesk_port_del_vlan(port, 100);
  expect_finding(
      "port 0x1a000003 is type 26, ASIC port 3, VLANs 4095-, but for the kernel module type 26, ASIC port 3, "
      "VLANs 100- 4095-");
}

TEST_F(Invariants, SeeAVlanThatDiffersInTheModule) {
  (*tesk_vlan_hash_find_(100))->cbl = 0x8;
  expect_finding("VLAN 100 has forwarding ports 0x8, but for the kernel module 0x0");
}

TEST_F(Invariants, SeeWhatTheModuleKeepsOrLacks) {
  tesk_port_t *stranger = loose_port(ethernet(8), 8);
  vlan_hash_entry_t entry{};
  entry.vlan = 200;
  tesk_krnl_add_or_update_port(stranger);
  tesk_krnl_add_or_update_vlan(&entry);
  std::free(stranger);
  entry.vlan = 100;
  tesk_krnl_del_vlan(&entry);
  tesk_krnl_del_port(port);
  EXPECT_EQ(broken_invariants(), (std::vector<std::string>{
                                     "the kernel module does not know port 0x1a000003",
                                     "the kernel module still has port 0x1a000008",
                                     "the kernel module does not know VLAN 100",
                                     "the kernel module still has VLAN 200",
                                 }));
}

TEST_F(Invariants, AllowWhatTheModuleRefused) {
  when("ioctl").returns(-1).with_errno(EIO);
  tesk_vlan_hash_set_cbl(100, 0x8);
  tesk_krnl_do_sync();
  expect_invariants();
}

}  // namespace
