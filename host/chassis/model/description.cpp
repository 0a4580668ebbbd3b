#include "host/chassis/model/description.h"

#include <fmt/core.h>

#include <algorithm>

namespace chassis {
namespace {

std::string interface_name(VlanId vlan) {
  return vlan == sol_vlan ? "sol0" : fmt::format("vlan{}", vlan.value);
}

std::string default_address(VlanId vlan, unsigned station) {
  if (vlan == sol_vlan) return fmt::format("10.255.255.{}/24", station);
  return fmt::format("10.{}.{}.{}/24", vlan.value / 256, vlan.value % 256, station);
}

}  // namespace

bool is_name(std::string_view text) {
  const auto fits = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
  };
  return !text.empty() && text.size() <= 32 && text[0] != '-' && std::all_of(text.begin(), text.end(), fits);
}

NodeDescription make_node(std::string name, const std::vector<VlanId> &vlans, unsigned station) {
  NodeDescription node{std::move(name), {}};
  for (const VlanId vlan : vlans)
    node.access.push_back({vlan, interface_name(vlan), default_address(vlan, station)});
  return node;
}

/// Replaces default addresses by the addresses of an `addresses` map.

Description default_description() {
  const std::vector<VlanId> vlans{sol_vlan, {100}, {200}};
  Description description;
  description.amm = make_node("amm", vlans, amm_station);
  for (std::uint8_t number = 1; number <= 4; ++number) {
    const FrontPort port{number};
    description.ports.push_back(
        {port, make_node(fmt::format("blade{}", number), vlans, blade_station(port)), "", vlans, true});
  }
  return description;
}

}  // namespace chassis
