// Measures a notice that all VLANs have come up on a port, or gone down: what the daemon does for one record
// of the notice. Its table has the SoL VLAN (serial over LAN) and 14 CIN VLANs (chassis internal network),
// and the port has joined all of them before.

#include <benchmark/benchmark.h>

#include <cstdlib>

#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

namespace {

void fill(vlan_bitset_t &set) {
  set = {};
  set.size = VLAN_BITSET_BYTES;
  for (std::uint32_t vlan = 1; vlan <= 4094; ++vlan) {
    bitset_set_bit(&set, vlan);
  }
}

/// Fills the VLAN table as a start does; directly, because there is no kernel module here.
void fill_vlan_table(tesk_port_t &port) {
  static vlan_hash_entry_t entries[TESK_CIN_VLANS_MAX];
  std::uint16_t vlan = 100;
  for (vlan_hash_entry_t &entry : entries) {
    vlan_hash_entry_t *&head = vlan_bucket[vlan % TESK_BUCKETS];
    entry = {
        .vlan = vlan, .ltl = 1, .cbl = 1, .rr_token = TESK_RR_TOKEN_NONE, .is_dirty = false, .next = head};
    head = &entry;
    tesk_port_add_vlan(&port, vlan++);
  }
}

void empty_vlan_table() {
  for (vlan_hash_entry_t *&head : vlan_bucket) {
    head = nullptr;
  }
}

void notice_of_4094_vlans(benchmark::State &state) {
  static tesk_port_t port;
  port.vlan_bmp.size = port.shadow_vlan_bmp.size = port.vlan_cbl_bmp.size = VLAN_BITSET_BYTES;
  fill_vlan_table(port);
  static portsvc_l2_port_state_t notice;
  notice.link_state = PORTSVC_LINK_UP;
  fill(notice.vlan_up_bmp);
  notice.vlan_down_bmp = {.size = VLAN_BITSET_BYTES, .bits = {}};
  for (auto _ : state) {
    tesk_l2psc_vlan_state_change(&port, &notice);
    tesk_port_upd_vlan_shadowdb(&port, &notice);
  }
  empty_vlan_table();
}
BENCHMARK(notice_of_4094_vlans)->Unit(benchmark::kMicrosecond);

}  // namespace
