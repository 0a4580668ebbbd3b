#include "host/chassis/model/chassis_state.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/chassis/model/board_ports.h"

namespace chassis {

namespace {

constexpr std::uint32_t first_channel_ordinal = 100;

VlanSet set_of(const std::vector<VlanId> &vlans) {
  VlanSet set;
  for (const VlanId vlan : vlans) set.set(vlan.value);
  return set;
}

InterfaceVlans all_up(const std::vector<VlanId> &vlans) {
  const VlanSet set = set_of(vlans);
  return {.up = set, .down = {}, .forwarding = set};
}

std::map<FrontPort, Port> ports_of(Board board) {
  std::map<FrontPort, Port> ports;
  for (std::uint8_t number = 1; number <= asic_ports; ++number) {
    const FrontPort front{number};
    if (const auto asic = asic_port(board, front)) {
      ports.emplace(front, Port{.number = front, .asic = *asic, .index = if_index(front)});
    }
  }
  return ports;
}

}  // namespace

std::uint32_t ordinal(IfIndex index) {
  if (const auto channel = channel_of(index)) return first_channel_ordinal + *channel;
  if (const auto port = front_port_of(index)) return port->value;
  return index == management_if_index(Board::b83) ? 2 : 1;  // mgmt1, mgmt0
}

ChassisState::ChassisState(const Description &description, Fabric &fabric, LinkChanged link_changed)
    : description_(description),
      fabric_(fabric),
      link_changed_(std::move(link_changed)),
      ports_(ports_of(description.board)) {
  for (const PortDescription &described : description.ports) {
    const auto port = ports_.find(described.port);
    if (port == ports_.end()) continue;
    port->second.link_up = described.link_up;
    port->second.vlans = all_up(described.vlans);
  }
  for (const PortChannelDescription &described : description.port_channels) {
    for (const FrontPort member : described.members) join_channel(described.channel, member);
    if (const auto made = channels_.find(described.channel); made != channels_.end()) {
      made->second.vlans = all_up(described.vlans);
    }
  }
  write_all_to_fabric();
}

const Port *ChassisState::port(IfIndex index) const {
  const auto number = front_port_of(index);
  const auto found = number ? ports_.find(*number) : ports_.end();
  return found == ports_.end() ? nullptr : &found->second;
}

const Channel *ChassisState::channel(IfIndex index) const {
  const auto number = channel_of(index);
  const auto found = number ? channels_.find(*number) : channels_.end();
  return found == channels_.end() ? nullptr : &found->second;
}

std::vector<const Port *> ChassisState::operational_ports(IfIndex index) const {
  std::vector<const Port *> operational;
  if (const Port *single = port(index); single && single->link_up) operational.push_back(single);
  if (const Channel *bundle = channel(index)) {
    for (const FrontPort member : bundle->members) {
      if (ports_.at(member).link_up) operational.push_back(&ports_.at(member));
    }
  }
  return operational;
}

const InterfaceVlans *ChassisState::vlans(IfIndex index) const {
  if (const Channel *bundle = channel(index)) return &bundle->vlans;
  const Port *single = port(index);
  return single ? &single->vlans : nullptr;
}

InterfaceVlans *ChassisState::mutable_vlans(IfIndex index) {
  return const_cast<InterfaceVlans *>(std::as_const(*this).vlans(index));  // NOLINT: the owner is not const
}

void ChassisState::set_link(FrontPort number, bool up) {
  Port &port = ports_.at(number);
  if (port.link_up == up) return;
  port.link_up = up;
  write_to_fabric(port);
  if (link_changed_) link_changed_(port.asic, up);
}

void ChassisState::set_vlan(IfIndex index, VlanId vlan, bool up) {
  InterfaceVlans *vlans = mutable_vlans(index);
  if (vlans == nullptr) return;
  const bool was_new = !vlans->up[vlan.value] && !vlans->down[vlan.value];
  vlans->up.set(vlan.value, up);
  vlans->down.set(vlan.value, !up);
  if (up && was_new) vlans->forwarding.set(vlan.value);
  write_all_to_fabric();
}

void ChassisState::set_forwarding(IfIndex index, VlanId vlan, bool on) {
  InterfaceVlans *vlans = mutable_vlans(index);
  if (vlans == nullptr) return;
  vlans->forwarding.set(vlan.value, on);
  write_all_to_fabric();
}

host::Result<> ChassisState::join_channel(std::uint16_t number, FrontPort member) {
  const auto port = ports_.find(member);
  if (port == ports_.end())
    return host::failure(fmt::format("there is no port {} on this board", member.value));
  if (port->second.channel) {
    return host::failure(fmt::format("ethernet 1/{} is already a member of port-channel {}", member.value,
                                     *port->second.channel));
  }
  const auto [bundle, made] = channels_.try_emplace(number, Channel{number, channel_index(number), {}, {}});
  if (bundle->second.members.size() >= channel_members_max) {
    return host::failure(fmt::format("port-channel {} already has {} members, the most that it can have",
                                     number, channel_members_max));
  }
  // A channel that an event makes starts with the VLANs of its first member.
  if (made) bundle->second.vlans = port->second.vlans;
  bundle->second.members.push_back(member);
  port->second.channel = number;
  write_to_fabric(port->second);
  return {};
}

host::Result<> ChassisState::leave_channel(std::uint16_t number, FrontPort member) {
  const auto port = ports_.find(member);
  if (port == ports_.end() || port->second.channel != number) {
    return host::failure(
        fmt::format("ethernet 1/{} is not a member of port-channel {}", member.value, number));
  }
  Channel &bundle = channels_.at(number);
  std::erase(bundle.members, member);
  port->second.channel.reset();
  if (bundle.members.empty()) channels_.erase(number);
  write_to_fabric(port->second);
  return {};
}

void ChassisState::write_to_fabric(const Port &port) {
  const InterfaceVlans &vlans = port.channel ? channels_.at(*port.channel).vlans : port.vlans;
  PortState &target = fabric_.port(port.asic);
  target.present = true;
  target.link_up = port.link_up;
  target.allowed = vlans.up;
  target.forwarding = vlans.forwarding;
}

void ChassisState::write_all_to_fabric() {
  for (const auto &[number, port] : ports_) write_to_fabric(port);
}

}  // namespace chassis
