#include "tests/standin/module.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>

#include "tests/standin/script.h"
#include "tests/standin/system.h"

namespace standin {

namespace {

struct Module {
  std::vector<ModuleRequest> requests;
  std::map<uint32_t, Counters> counters;
  Mirror mirror;
};

Module the_module;

template <class Record>
Record kept(const void *record) {
  const auto *bytes = static_cast<const uint8_t *>(record);
  the_module.requests.back().record.assign(bytes, bytes + sizeof(Record));
  Record copy;
  std::memcpy(&copy, record, sizeof copy);
  return copy;
}

std::string shown_port(const teskk_port_info_t &port) {
  std::string vlans;
  for (size_t i = 0; i < std::min<size_t>(port.vlan_cnt, TESKK_PORT_VLANS); ++i) {
    if (!vlans.empty()) vlans += ", ";
    vlans += std::to_string(port.vlan_lst[i].vlan) + (port.vlan_lst[i].cbl_fwd == 1 ? " fwd" : " blk");
  }
  return shown(hex(port.if_idx)) + " type " + std::to_string(port.if_type) + " asic " +
         std::to_string(port.kestrix_port) + " [" + vlans + "]";
}

std::string shown_vlan(const teskk_vlan_info_t &vlan) {
  return std::to_string(vlan.vlan) + " ports " + shown(hex(vlan.ltl_cbl));
}

template <class Entry>
std::string shown_list(const Entry *entries, size_t count, std::string (*shown_entry)(const Entry &)) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += (i == 0 ? "" : "; ") + shown_entry(entries[i]);
  return "{" + text + "}";
}

Answer request_line(const Operation &ioctl, int descriptor, const char *name, const std::string &record) {
  return call(ioctl, descriptor, std::string(name), record);
}

/** Applies one record's request to the tables. @return the record's place in its table, null if refused */
template <class Key, class Value>
Value *take(bool is_accepted, Key key, std::map<Key, Value> &records, std::set<Key> &refused) {
  if (!is_accepted) {
    refused.insert(key);
    return nullptr;
  }
  refused.erase(key);
  return &records[key];
}

std::string describe(uint32_t port) { return "port " + shown(hex(port)); }

std::string describe(uint16_t vlan) { return "VLAN " + shown(vlan); }

/** Applies one accepted or refused deletion. A refused push may have left the module without the record. */
template <class Key, class Value>
void take_out(bool is_accepted, Key key, std::map<Key, Value> &records, std::set<Key> &refused) {
  const bool is_known = records.contains(key) || refused.contains(key);
  if (is_accepted && !is_known)
    ADD_FAILURE() << "the module is asked to delete what it does not have: " << describe(key);
  if (take(is_accepted, key, records, refused) != nullptr) records.erase(key);
}

int add_or_update_ports(const Operation &ioctl, int descriptor, const void *record) {
  const auto list = kept<teskk_port_list_t>(record);
  const size_t count = std::min<size_t>(list.port_cnt, TESKK_PORTS);
  const int result =
      request_line(ioctl, descriptor, "add_or_update_ports", shown_list(list.port_lst, count, shown_port))
          .returns(0);
  Mirror &held = the_module.mirror;
  for (size_t i = 0; i < count; ++i) {
    const teskk_port_info_t &port = list.port_lst[i];
    if (auto *kept_port = take(result == 0, port.if_idx, held.ports, held.refused_ports)) *kept_port = port;
  }
  return result;
}

int add_or_update_vlans(const Operation &ioctl, int descriptor, const void *record) {
  const auto list = kept<teskk_vlan_list_t>(record);
  const size_t count = std::min<size_t>(list.vlan_cnt, TESKK_VLANS);
  const int result =
      request_line(ioctl, descriptor, "add_or_update_vlans", shown_list(list.vlan_lst, count, shown_vlan))
          .returns(0);
  Mirror &held = the_module.mirror;
  for (size_t i = 0; i < count; ++i) {
    const teskk_vlan_info_t &vlan = list.vlan_lst[i];
    if (auto *ports = take(result == 0, vlan.vlan, held.vlans, held.refused_vlans)) *ports = vlan.ltl_cbl;
  }
  return result;
}

int del_vlan(const Operation &ioctl, int descriptor, const void *record) {
  const auto vlan = kept<uint16_t>(record);
  const int result = request_line(ioctl, descriptor, "del_vlan", shown(vlan)).returns(0);
  take_out(result == 0, vlan, the_module.mirror.vlans, the_module.mirror.refused_vlans);
  return result;
}

int del_port(const Operation &ioctl, int descriptor, const void *record) {
  const auto port = kept<uint32_t>(record);
  const int result = request_line(ioctl, descriptor, "del_port", shown(hex(port))).returns(0);
  take_out(result == 0, port, the_module.mirror.ports, the_module.mirror.refused_ports);
  return result;
}

int get_port_counters(const Operation &ioctl, int descriptor, void *record) {
  auto counters = kept<teskk_port_counters_t>(record);
  const Answer answer = request_line(ioctl, descriptor, "get_port_counters", shown(hex(counters.if_idx)));
  if (answer.has_result()) return answer.returns(-1);
  const auto known = the_module.counters.find(counters.if_idx);
  if (known == the_module.counters.end()) {
    errno = ENODEV;
    return -1;
  }
  const Counters &count = known->second;
  counters = {counters.if_idx, count.tx_ucast, count.tx_mcast, count.rx_ucast, count.rx_mcast};
  std::memcpy(record, &counters, sizeof counters);
  return 0;
}

}  // namespace

const Mirror &mirror() { return the_module.mirror; }

const std::vector<ModuleRequest> &module_requests() { return the_module.requests; }

const Bytes &last_module_record() {
  static const Bytes none;
  return the_module.requests.empty() ? none : the_module.requests.back().record;
}

void module_counts(uint32_t if_index, Counters counters) { the_module.counters[if_index] = counters; }

int module_request(const Operation &ioctl, int descriptor, uint32_t request, void *record) {
  the_module.requests.push_back({request, {}});
  switch (request) {
    case TESKK_ADD_OR_UPDATE_PORTS:
      return add_or_update_ports(ioctl, descriptor, record);
    case TESKK_ADD_OR_UPDATE_VLANS:
      return add_or_update_vlans(ioctl, descriptor, record);
    case TESKK_DEL_VLAN:
      return del_vlan(ioctl, descriptor, record);
    case TESKK_DEL_PORT:
      return del_port(ioctl, descriptor, record);
    case TESKK_GET_PORT_COUNTERS:
      return get_port_counters(ioctl, descriptor, record);
    default:
      return request_line(ioctl, descriptor, "unknown request", shown(hex(request))).returns(-1);
  }
}

void reset_module() { the_module = {}; }

}  // namespace standin
