#include "tests/scenario/invariants.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <set>

#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"
#include "tests/standin/memory.h"
#include "tests/standin/module.h"
#include "tests/standin/services.h"

using namespace standin;

namespace {

using Ports = std::vector<const tesk_port_t *>;
using Vlans = std::vector<const vlan_hash_entry_t *>;

std::vector<std::string> findings;

__attribute__((format(printf, 1, 2))) void find(const char *pattern, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  findings.emplace_back(text);
}

/** Visits the entries of a table, each chain up to its first error. */
template <class Entry, class Bucket, class Key>
std::vector<const Entry *> entries_of(const char *table, Entry *const (&heads)[TESK_BUCKETS],
                                      Bucket bucket_of, Key key_of) {
  std::vector<const Entry *> entries;
  std::set<const Entry *> seen;
  std::set<decltype(key_of(*heads[0]))> keys;
  for (uint32_t bucket = 0; bucket < TESK_BUCKETS; ++bucket) {
    for (const Entry *entry = heads[bucket]; entry != nullptr; entry = entry->next) {
      if (!is_live(entry)) {
        find("bucket %u of the %s table leads to freed memory", bucket, table);
        break;
      }
      if (!seen.insert(entry).second) {
        find("bucket %u of the %s table leads to an entry a second time", bucket, table);
        break;
      }
      if (bucket_of(*entry) != bucket) {
        find("an entry in bucket %u of the %s table belongs into bucket %u", bucket, table,
             bucket_of(*entry));
      }
      if (!keys.insert(key_of(*entry)).second)
        find("bucket %u of the %s table holds a key for the second time", bucket, table);
      entries.push_back(entry);
    }
  }
  return entries;
}

/* The bucket of an interface index, from the layout of the index: type in the top byte, number below. */
uint32_t port_bucket(const ifindex_hash_entry_t &entry) {
  const uint32_t type = entry.if_index >> 24;
  const bool has_number = type == IF_INDEX_TYPE_ETHERNET || type == IF_INDEX_TYPE_PORT_CHANNEL;
  return has_number ? (entry.if_index & 0xffff) % TESK_BUCKETS : 0;
}

std::vector<const ifindex_hash_entry_t *> port_entries() {
  return entries_of("port", ifidx_bucket, port_bucket,
                    [](const ifindex_hash_entry_t &entry) { return entry.if_index; });
}

Vlans vlan_entries() {
  return entries_of(
      "VLAN", vlan_bucket,
      [](const vlan_hash_entry_t &entry) -> uint32_t { return entry.vlan % TESK_BUCKETS; },
      [](const vlan_hash_entry_t &entry) { return entry.vlan; });
}

std::vector<const tesk_fib_entry_t *> address_entries() {
  return entries_of(
      "address", fib_bucket,
      [](const tesk_fib_entry_t &entry) -> uint32_t { return entry.mac_address[5] % TESK_BUCKETS; },
      [](const tesk_fib_entry_t &entry) {
        return std::vector<uint8_t>(entry.mac_address, entry.mac_address + sizeof entry.mac_address);
      });
}

Ports contexts_of(const std::vector<const ifindex_hash_entry_t *> &entries) {
  Ports ports;
  for (const ifindex_hash_entry_t *entry : entries) {
    const auto *port = static_cast<const tesk_port_t *>(entry->param);
    if (port == nullptr) continue;
    if (!is_live(port)) {
      find("the entry of port 0x%x points at freed memory", entry->if_index);
    } else if (port->if_idx != entry->if_index) {
      find("the entry of port 0x%x has the context of port 0x%x", entry->if_index, port->if_idx);
    } else {
      ports.push_back(port);
    }
  }
  return ports;
}

bool holds(const Ports &ports, const tesk_port_t *port) { return std::ranges::count(ports, port) != 0; }

void check_port_map(const Ports &ports) {
  for (uint32_t slot = 0; slot < TESK_ASIC_PORTS; ++slot) {
    if (kes_port_map[slot] != nullptr && !holds(ports, kes_port_map[slot]))
      find("slot %u of the port map points at no context of the port table", slot);
  }
}

void check_addresses(const Ports &ports) {
  for (const tesk_fib_entry_t *entry : address_entries()) {
    if (!holds(ports, entry->tesk_port))
      find("the address ending in %02x was learnt on a port that is gone", entry->mac_address[5]);
  }
}

void check_count() {
  if (cin_vlan_count < 0 || cin_vlan_count > TESK_CIN_VLANS_MAX)
    find("the count of CIN VLANs is %d", cin_vlan_count);
}

void check_activation(const Vlans &vlans) {
  for (const vlan_hash_entry_t *entry : vlans) {
    const bool is_carried = entry->ltl != 0 && tesk_port_has_vlan(&amm_mgmt_port, entry->vlan);
    if (entry->vlan != sol_vlan && is_carried && !is_redirected(entry->vlan))
      find("VLAN %u has ports 0x%x and was not activated", entry->vlan, entry->ltl);
  }
}

/** Finds records that wait although one push could have taken them all. */
void check_dirty(const Ports &ports, const Vlans &vlans) {
  const auto dirty_ports = std::ranges::count_if(ports, [](auto *port) { return port->is_dirty; });
  const auto dirty_vlans = std::ranges::count_if(vlans, [](auto *entry) { return entry->is_dirty; });
  if (dirty_ports != 0 && dirty_ports <= TESKK_PORTS)
    find("%d dirty ports were not pushed", static_cast<int>(dirty_ports));
  if (dirty_vlans != 0 && dirty_vlans <= TESKK_VLANS && dirty_ports == 0)
    find("%d dirty VLANs were not pushed", static_cast<int>(dirty_vlans));
}

/** The VLANs of a context as the module must have them. */
std::string shown_vlans(const tesk_port_t &port) {
  std::string text;
  int count = 0;
  for (int32_t vlan = bitset_first_bit(&port.vlan_bmp); vlan >= 0 && count < TESKK_PORT_VLANS; ++count) {
    const bool forwards = bitset_is_bit_set(&port.vlan_cbl_bmp, static_cast<uint32_t>(vlan)) != 0;
    text += " " + std::to_string(vlan) + (forwards ? "+" : "-");
    vlan = bitset_next_bit(&port.vlan_bmp, vlan);
  }
  return text;
}

std::string shown_vlans(const teskk_port_info_t &port) {
  std::string text;
  for (int i = 0; i < std::min<int>(port.vlan_cnt, TESKK_PORT_VLANS); ++i)
    text += " " + std::to_string(port.vlan_lst[i].vlan) + (port.vlan_lst[i].cbl_fwd != 0 ? "+" : "-");
  return text;
}

void check_mirrored_port(const tesk_port_t &port) {
  const auto found = mirror().ports.find(port.if_idx);
  if (found == mirror().ports.end()) {
    find("the kernel module does not know port 0x%x", port.if_idx);
    return;
  }
  const teskk_port_info_t &held = found->second;
  if (held.if_type != port.if_type || held.kestrix_port != port.kestrix_port ||
      shown_vlans(held) != shown_vlans(port)) {
    find(
        "port 0x%x is type %u, ASIC port %u, VLANs%s, but for the kernel module type %u, ASIC port %u, "
        "VLANs%s",
        port.if_idx, port.if_type, port.kestrix_port, shown_vlans(port).c_str(), held.if_type,
        held.kestrix_port, shown_vlans(held).c_str());
  }
}

void check_mirrored_ports(const Ports &ports, const std::vector<const ifindex_hash_entry_t *> &entries) {
  std::set<uint32_t> known = mirror().refused_ports;
  known.insert(amm_mgmt_port.if_idx);
  for (const ifindex_hash_entry_t *entry : entries) known.insert(entry->if_index);
  for (const tesk_port_t *port : ports)
    if (!port->is_dirty && !mirror().refused_ports.contains(port->if_idx)) check_mirrored_port(*port);
  for (const auto &[if_index, record] : mirror().ports)
    if (!known.contains(if_index)) find("the kernel module still has port 0x%x", if_index);
}

void check_mirrored_vlan(const vlan_hash_entry_t &entry) {
  const auto found = mirror().vlans.find(entry.vlan);
  const uint32_t ports = entry.ltl & entry.cbl;
  if (found == mirror().vlans.end()) {
    find("the kernel module does not know VLAN %u", entry.vlan);
  } else if (found->second != ports) {
    find("VLAN %u has forwarding ports 0x%x, but for the kernel module 0x%x", entry.vlan, ports,
         found->second);
  }
}

void check_mirrored_vlans(const Vlans &vlans) {
  std::set<uint16_t> known = mirror().refused_vlans;
  for (const vlan_hash_entry_t *entry : vlans) {
    known.insert(entry->vlan);
    if (!entry->is_dirty && !mirror().refused_vlans.contains(entry->vlan)) check_mirrored_vlan(*entry);
  }
  for (const auto &[vlan, ports] : mirror().vlans)
    if (!known.contains(vlan)) find("the kernel module still has VLAN %u", vlan);
}

}  // namespace

std::vector<std::string> broken_invariants() {
  findings.clear();
  const auto entries = port_entries();
  const Ports ports = contexts_of(entries);
  const Vlans vlans = vlan_entries();
  check_port_map(ports);
  check_addresses(ports);
  check_count();
  check_activation(vlans);
  check_dirty(ports, vlans);
  check_mirrored_ports(ports, entries);
  check_mirrored_vlans(vlans);
  return std::move(findings);
}

void expect_invariants(Location location) {
  for (const std::string &sentence : broken_invariants())
    ADD_FAILURE_AT(location.file, location.line) << sentence;
}
