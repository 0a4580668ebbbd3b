#include "host/chassis/kernel_module/klm_records.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

namespace chassis {
namespace {

template <typename Record>
std::optional<Record> record_of(std::span<const std::byte> bytes) {
  if (bytes.size() < sizeof(Record)) return std::nullopt;
  Record record;
  std::memcpy(&record, bytes.data(), sizeof record);
  return record;
}

bool in_range(std::uint16_t vlan) { return vlan >= 1 && vlan <= 4095; }

}  // namespace

int KlmRecords::write(unsigned request, std::span<const std::byte> bytes) {
  switch (request) {
    case TESKK_ADD_OR_UPDATE_VLANS: {
      const auto list = record_of<teskk_vlan_list_t>(bytes);
      return list ? update_vlans(*list) : EINVAL;
    }
    case TESKK_DEL_VLAN: {
      const auto vlan = record_of<std::uint16_t>(bytes);
      return vlan ? delete_vlan(*vlan) : EINVAL;
    }
    case TESKK_ADD_OR_UPDATE_PORTS: {
      const auto list = record_of<teskk_port_list_t>(bytes);
      return list ? update_ports(*list) : EINVAL;
    }
    case TESKK_DEL_PORT: {
      const auto if_idx = record_of<std::uint32_t>(bytes);
      return if_idx ? delete_port(*if_idx) : EINVAL;
    }
    default:
      return ENOTTY;
  }
}

int KlmRecords::update_vlans(const teskk_vlan_list_t &list) {
  if (list.vlan_cnt > TESKK_VLANS) return EINVAL;
  const std::span vlans(list.vlan_lst, list.vlan_cnt);
  if (!std::all_of(vlans.begin(), vlans.end(), [](const auto &each) { return in_range(each.vlan); }))
    return EINVAL;
  for (const auto &vlan : vlans) mirror_.vlans[VlanId{vlan.vlan}] = vlan;
  return 0;
}

int KlmRecords::delete_vlan(std::uint16_t vlan) {
  if (!in_range(vlan)) return EINVAL;
  return mirror_.vlans.erase(VlanId{vlan}) == 1 ? 0 : ENOENT;
}

int KlmRecords::update_ports(const teskk_port_list_t &list) {
  if (list.port_cnt > TESKK_PORTS) return EINVAL;
  const std::span ports(list.port_lst, list.port_cnt);
  if (!std::all_of(ports.begin(), ports.end(), [this](const auto &each) { return is_sound(each); }))
    return EINVAL;
  for (const auto &port : ports) mirror_.ports[IfIndex{port.if_idx}] = port;
  return 0;
}

int KlmRecords::delete_port(std::uint32_t if_idx) {
  return mirror_.ports.erase(IfIndex{if_idx}) == 1 ? 0 : ENOENT;
}

bool KlmRecords::is_sound(const teskk_port_info_t &port) const {
  if (!port_exists_(IfIndex{port.if_idx}) || port.kestrix_port >= asic_ports ||
      port.vlan_cnt > TESKK_PORT_VLANS)
    return false;
  const std::span vlans(port.vlan_lst, port.vlan_cnt);
  return std::all_of(vlans.begin(), vlans.end(), [](const auto &each) { return in_range(each.vlan); });
}

}  // namespace chassis
