#include "host/chassis/control/mirror_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/chassis/base/vlan_number.h"
#include "host/chassis/model/board_ports.h"
#include "host/chassis/model/interface_name.h"

namespace chassis {

namespace {

using nlohmann::json;

bool is_management(const ChassisState &state, IfIndex index) {
  return index == management_if_index(state.description().board);
}

json mirrored_vlans(const teskk_port_info_t &info) {
  json vlans = json::array();
  const std::size_t count = std::min<std::size_t>(info.vlan_cnt, TESKK_PORT_VLANS);
  for (std::size_t i = 0; i < count; ++i) {
    vlans.push_back({{"vlan", info.vlan_lst[i].vlan}, {"forwards", info.vlan_lst[i].cbl_fwd != 0}});
  }
  return vlans;
}

void compare_vlans(const teskk_port_info_t &info, const InterfaceVlans &truth, json &differences) {
  const std::size_t count = std::min<std::size_t>(info.vlan_cnt, TESKK_PORT_VLANS);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint16_t vlan = info.vlan_lst[i].vlan;
    // Every port belongs to the SoL VLAN from the start and forwards in it, whatever it carries.
    if (vlan == sol_vlan.value || !vlan_number(vlan)) continue;
    if (!truth.up[vlan])
      differences.push_back("VLAN " + std::to_string(vlan) + " is not up on the interface");
    if (truth.forwarding[vlan] != (info.vlan_lst[i].cbl_fwd != 0)) {
      differences.push_back(
          "VLAN " + std::to_string(vlan) +
          (truth.forwarding[vlan] ? " forwards in the chassis" : " is blocked in the chassis"));
    }
  }
}

json port_differences(const ChassisState &state, IfIndex index, const teskk_port_info_t &info) {
  json differences = json::array();
  if (is_management(state, index)) return differences;
  const auto operational = state.operational_ports(index);
  const InterfaceVlans *vlans = state.vlans(index);
  if (operational.empty() || vlans == nullptr) {
    differences.push_back("not up in the chassis");
    return differences;
  }
  if (operational.front()->asic.value != info.kestrix_port) {
    differences.push_back("on ASIC port " + std::to_string(operational.front()->asic.value) +
                          " in the chassis");
  }
  compare_vlans(info, *vlans, differences);
  return differences;
}

json mirrored_ports(const ChassisState &state, const KlmDevice &klm) {
  json rows = json::array();
  for (const auto &[index, info] : klm.mirror().ports) {
    rows.push_back({{"name", interface_name(index)},
                    {"if_index", index.value},
                    {"asic_port", info.kestrix_port},
                    {"vlans", mirrored_vlans(info)},
                    {"differences", port_differences(state, index, info)}});
  }
  return rows;
}

/// Interfaces that should be mirrored but are not.
json missing_ports(const ChassisState &state, const KlmDevice &klm) {
  json missing = json::array();
  const auto look_at = [&](IfIndex index) {
    const auto operational = state.operational_ports(index);
    if (operational.empty() || is_uplink(state.description().board, operational.front()->asic)) return;
    if (!klm.mirror().ports.contains(index)) missing.push_back(interface_name(index));
  };
  for (const auto &[number, port] : state.ports()) {
    if (!port.channel) look_at(port.index);
  }
  for (const auto &[number, channel] : state.channels()) look_at(channel.index);
  return missing;
}

/// The ports of a VLAN that follow from the mirrored ports and the chassis's forwarding states.
std::uint32_t expected_ports(const ChassisState &state, const KlmDevice &klm, VlanId vlan) {
  std::uint32_t ports = 0;
  for (const auto &[index, info] : klm.mirror().ports) {
    const InterfaceVlans *truth = state.vlans(index);
    if (truth == nullptr || info.kestrix_port >= asic_ports) continue;
    const std::size_t count = std::min<std::size_t>(info.vlan_cnt, TESKK_PORT_VLANS);
    const bool is_member = std::any_of(info.vlan_lst, info.vlan_lst + count,
                                       [vlan](const auto &entry) { return entry.vlan == vlan.value; });
    if (is_member && (vlan == sol_vlan || truth->forwarding[vlan.value])) ports |= 1U << info.kestrix_port;
  }
  return ports;
}

json port_list(std::uint32_t mask) {
  json ports = json::array();
  for (unsigned port = 0; port < 32; ++port) {
    if ((mask >> port & 1) != 0) ports.push_back(port);
  }
  return ports;
}

json mirrored_vlan_rows(const ChassisState &state, const KlmDevice &klm) {
  json rows = json::array();
  for (const auto &[vlan, info] : klm.mirror().vlans) {
    const std::uint32_t expected = expected_ports(state, klm, vlan);
    json differences = json::array();
    if (expected != info.ltl_cbl) differences.push_back("the chassis forwards to other ports");
    rows.push_back({{"vlan", vlan.value},
                    {"asic_ports", port_list(info.ltl_cbl)},
                    {"expected_asic_ports", port_list(expected)},
                    {"differences", differences}});
  }
  return rows;
}

}  // namespace

json mirror_report(const ChassisState &state, const KlmDevice &klm) {
  return {{"ports", mirrored_ports(state, klm)},
          {"missing_ports", missing_ports(state, klm)},
          {"vlans", mirrored_vlan_rows(state, klm)},
          {"accepted", klm.accepted()},
          {"refused", klm.refused()}};
}

}  // namespace chassis
