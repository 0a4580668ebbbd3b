#include "tests/platform/module.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>

#include "tesk/kspace/teskk.h"
#include "tests/platform/script.h"
#include "tests/platform/system.h"

namespace standin {

namespace {

struct Module {
  Bytes last_record;
  std::map<uint32_t, Counters> counters;
};

Module the_module;

template <class Record>
Record kept(const void *record) {
  const auto *bytes = static_cast<const uint8_t *>(record);
  the_module.last_record.assign(bytes, bytes + sizeof(Record));
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

Answer request_line(int descriptor, const char *name, const std::string &record) {
  return call("ioctl", descriptor, std::string(name), record);
}

int add_or_update_ports(int descriptor, const void *record) {
  const auto list = kept<teskk_port_list_t>(record);
  const size_t count = std::min<size_t>(list.port_cnt, TESKK_PORTS);
  return request_line(descriptor, "add_or_update_ports", shown_list(list.port_lst, count, shown_port))
      .returns(0);
}

int add_or_update_vlans(int descriptor, const void *record) {
  const auto list = kept<teskk_vlan_list_t>(record);
  const size_t count = std::min<size_t>(list.vlan_cnt, TESKK_VLANS);
  return request_line(descriptor, "add_or_update_vlans", shown_list(list.vlan_lst, count, shown_vlan))
      .returns(0);
}

int get_port_counters(int descriptor, void *record) {
  auto counters = kept<teskk_port_counters_t>(record);
  const Answer answer = request_line(descriptor, "get_port_counters", shown(hex(counters.if_idx)));
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

const Bytes &last_module_record() { return the_module.last_record; }

void module_counts(uint32_t if_index, Counters counters) { the_module.counters[if_index] = counters; }

int module_request(int descriptor, uint32_t request, void *record) {
  switch (request) {
    case TESKK_ADD_OR_UPDATE_PORTS:
      return add_or_update_ports(descriptor, record);
    case TESKK_ADD_OR_UPDATE_VLANS:
      return add_or_update_vlans(descriptor, record);
    case TESKK_DEL_VLAN:
      return request_line(descriptor, "del_vlan", shown(kept<uint16_t>(record))).returns(0);
    case TESKK_DEL_PORT:
      return request_line(descriptor, "del_port", shown(hex(kept<uint32_t>(record)))).returns(0);
    case TESKK_GET_PORT_COUNTERS:
      return get_port_counters(descriptor, record);
    default:
      return request_line(descriptor, "unknown request", shown(hex(request))).returns(-1);
  }
}

void reset_module() { the_module = {}; }

}  // namespace standin
