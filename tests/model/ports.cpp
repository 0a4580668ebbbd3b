#include <algorithm>

#include "tests/model/model.h"

namespace model {

namespace {

constexpr uint8_t type_port_channel = 22;
constexpr uint8_t type_ethernet = 26;
constexpr uint8_t type_management = 5;
constexpr size_t most_channel_members = 16;
constexpr uint8_t asic_ports = 20;
constexpr uint8_t no_asic_port = 255;

uint8_t type_of(uint32_t interface) { return static_cast<uint8_t>(interface >> 24); }

bool is_known(uint32_t interface) {
  const uint8_t type = type_of(interface);
  return type == type_port_channel || type == type_ethernet || type == type_management;
}

/** The chain of an interface: by number for ports and port-channels, the first one for everything else. */
size_t chain_of(uint32_t interface) {
  const uint8_t type = type_of(interface);
  return type == type_port_channel || type == type_ethernet ? (interface & 0xffff) % 32 : 0;
}

/** Whether a port is an uplink, on the board that has uplinks. */
bool is_uplink(uint8_t asic) { return (asic >= 4 && asic <= 6) || (asic >= 14 && asic <= 16); }

}  // namespace

PortEntry *Model::entry_of(uint32_t interface) {
  std::list<PortEntry> &chain = state_.ports[chain_of(interface)];
  const auto found = std::ranges::find(chain, interface, &PortEntry::interface);
  return found == chain.end() ? nullptr : &*found;
}

Port *Model::port_of(uint32_t interface) {
  PortEntry *entry = entry_of(interface);
  return entry != nullptr && entry->port ? &*entry->port : nullptr;
}

/* A port-channel uses the ASIC port of its first operational member. */
std::optional<uint8_t> Model::asic_port_of(uint32_t interface) {
  if (!is_known(interface)) return std::nullopt;
  if (type_of(interface) == type_port_channel) {
    const Channel *channel = platform_.channel_of(interface);
    if (channel == nullptr || channel->first_operational == 0) return std::nullopt;
    interface = channel->first_operational;
  }
  const std::optional<uint8_t> asic = platform_.asic_port_of(interface);
  return asic == no_asic_port ? std::nullopt : asic;
}

bool Model::is_downlink(uint32_t interface) {
  if (!is_vorlund_) return true;
  const std::optional<uint8_t> asic = asic_port_of(interface);
  return asic && !is_uplink(*asic);
}

/* ---- the life of a context ---- */

Port *Model::create_port(uint32_t interface) {
  if (!is_known(interface) || !platform_.allocates()) return nullptr;
  const std::optional<uint8_t> asic = asic_port_of(interface);
  if (!asic || entry_of(interface) != nullptr || !platform_.allocates()) return nullptr;
  PortEntry &entry = state_.ports[chain_of(interface)].emplace_front(PortEntry{interface, Port{}});
  Port &port = *entry.port;
  port.interface = interface;
  port.ordinal = interface & 0xffff;
  port.type = type_of(interface);
  port.asic = *asic;
  port.carried = {sol_vlan};
  push({&port});
  Vlan *sol = vlan_of(sol_vlan);
  if (sol == nullptr) {
    entry.port.reset();  // the entry and the device's record stay
    return nullptr;
  }
  sol->members |= port.bit();
  mark(*sol);
  map_port(port);
  return &port;
}

void Model::map_port(Port &port) {
  const auto map = [&](uint8_t asic) {
    if (asic < asic_ports) state_.port_map[asic] = port.interface;
  };
  if (port.type != type_port_channel) {
    map(port.asic);
    return;
  }
  const Channel *channel = platform_.channel_of(port.interface);
  if (channel == nullptr) return;
  for (const uint32_t member : channel->members) {
    if (port.channel_members.size() == most_channel_members) break;
    const std::optional<uint8_t> asic = asic_port_of(member);
    if (!asic) break;
    port.channel_members.push_back(*asic);
    map(*asic);
  }
}

void Model::unmap_port(const Port &port) {
  const std::vector<uint8_t> own = {port.asic};
  for (const uint8_t asic : port.type == type_port_channel ? port.channel_members : own)
    if (asic < asic_ports) state_.port_map[asic].reset();
}

void Model::delete_port(uint32_t interface) {
  Port &port = *port_of(interface);
  std::erase_if(state_.learnt, [&](const auto &learnt) { return learnt.second == interface; });
  unmap_port(port);
  if (Vlan *sol = vlan_of(sol_vlan)) {
    sol->members &= ~port.bit();
    mark(*sol);
  }
  if (port.is_dirty) --state_.dirty_ports;
  platform_.delete_port(interface);
  state_.ports[chain_of(interface)].remove_if(
      [&](const PortEntry &entry) { return entry.interface == interface; });
}

/* ---- VLANs of a port ---- */

void Model::join(Port &port, uint16_t number) {
  Vlan *vlan = vlan_of(number);
  if (vlan == nullptr || port.carried.contains(number)) return;
  if (vlan->members == 0) activate(*vlan);
  port.carried.insert(number);
  mark(port);
  vlan->members |= port.bit();
  mark(*vlan);
}

void Model::leave(Port &port, uint16_t number) {
  Vlan *vlan = vlan_of(number);
  if (vlan == nullptr) return;
  vlan->members &= ~port.bit();
  mark(*vlan);
  port.carried.erase(number);
  mark(port);
  if (vlan->members == 0) deactivate(*vlan);
}

void Model::apply_vlans(Port &port, const PortReport &report) {
  if (report.link == 1)
    for (const uint16_t vlan : VlanSet(report.up.begin(), report.up.end())) join(port, vlan);
  for (const uint16_t vlan : VlanSet(report.down.begin(), report.down.end())) leave(port, vlan);
}

void Model::port_reported(const PortReport &report) {
  if (!is_downlink(report.interface)) return;
  Port *port = port_of(report.interface);
  const bool is_up = report.link == 1;
  const bool is_down = report.link == 2;
  if (is_up && port == nullptr) port = create_port(report.interface);
  if (port == nullptr || (!is_up && !is_down)) return;
  apply_vlans(*port, report);
  if (is_up) port->reported.insert(report.up.begin(), report.up.end());
  for (const uint16_t vlan : report.down) port->reported.erase(vlan);
  if (is_down) delete_port(report.interface);
}

void Model::happens(const PortState &notice) {
  message(0xf407, [&] {
    if (!platform_.matching_refusal("portsvc_parse_l2_protocol_state_change"))
      for (const PortReport &report : notice.ports) port_reported(report);
  });
}

/* ---- forwarding states ---- */

void Model::cbl_reported(const CblReport &report) {
  if (!is_downlink(report.interface)) return;
  Port *port = port_of(report.interface);
  if (port == nullptr) return;
  const VlanSet forwarding(report.forwarding.begin(), report.forwarding.end());
  port->forwarding = forwarding;
  port->forwarding.insert(sol_vlan);
  mark(*port);
  each(state_.vlans, [&](Vlan &vlan) {
    if (vlan.number == sol_vlan || forwarding.contains(vlan.number))
      vlan.forwarders |= port->bit();
    else
      vlan.forwarders &= ~port->bit();
    mark(vlan);
  });
}

void Model::happens(const CblChange &notice) {
  message(0x1101a, [&] {
    for (const CblReport &report : notice.ports) cbl_reported(report);
  });
}

}  // namespace model
