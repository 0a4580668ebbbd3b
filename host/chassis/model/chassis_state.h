// The state of the interfaces of a chassis: links, VLANs and forwarding states of ports and port-channels.
//
// A port-channel is an interface of its own. While a port is a member, the VLANs of the port-channel are used
// and the port's own VLANs are kept unused; when it leaves, its own VLANs are used again. Each change that
// concerns the ASIC is written to the fabric at once. The announcer (announcer.h) sends the notices.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "host/chassis/asic/fabric.h"
#include "host/chassis/model/description.h"
#include "host/system/failure.h"

namespace chassis {

struct InterfaceVlans {
  VlanSet up;          ///< carried
  VlanSet down;        ///< configured, but taken down by an event
  VlanSet forwarding;  ///< the VLANs in which the interface forwards (CBL, see docs/glossary.md)
};

struct Port {
  FrontPort number;
  AsicPort asic;
  IfIndex index;
  bool link_up = false;
  std::optional<std::uint16_t> channel{};
  InterfaceVlans vlans{};
};

struct Channel {
  std::uint16_t number = 1;
  IfIndex index;
  std::vector<FrontPort> members;  ///< in the order in which they joined
  InterfaceVlans vlans;
};

/// The most members that one port-channel can have: as many as its record holds.
inline constexpr std::size_t channel_members_max = 32;

class ChassisState {
 public:
  using LinkChanged = std::function<void(AsicPort, bool up)>;

  ChassisState(const Description &description, Fabric &fabric, LinkChanged link_changed);

  const Description &description() const { return description_; }
  const std::map<FrontPort, Port> &ports() const { return ports_; }
  const std::map<std::uint16_t, Channel> &channels() const { return channels_; }
  const Port *port(IfIndex index) const;
  const Channel *channel(IfIndex index) const;

  /// The port, or the members of the channel that are up; empty for an unknown index.
  std::vector<const Port *> operational_ports(IfIndex index) const;

  /// VLANs of a port or a channel; null for an unknown index.
  const InterfaceVlans *vlans(IfIndex index) const;

  bool line_card_online() const { return line_card_online_; }
  void set_line_card_online(bool online) { line_card_online_ = online; }

  void set_link(FrontPort port, bool up);
  /// A VLAN that comes up forwards; a VLAN that goes down is no longer carried.
  /// @param index of an existing interface
  void set_vlan(IfIndex index, VlanId vlan, bool up);
  void set_forwarding(IfIndex index, VlanId vlan, bool on);

  /// Adds a port to a channel. Makes the channel if it does not exist.
  host::Result<> join_channel(std::uint16_t channel, FrontPort port);
  /// Removes a port from a channel. The channel is deleted with its last member.
  host::Result<> leave_channel(std::uint16_t channel, FrontPort port);

 private:
  InterfaceVlans *mutable_vlans(IfIndex index);
  void write_to_fabric(const Port &port);
  void write_all_to_fabric();

  Description description_;
  Fabric &fabric_;
  LinkChanged link_changed_;
  std::map<FrontPort, Port> ports_;
  std::map<std::uint16_t, Channel> channels_;
  bool line_card_online_ = true;
};

/// The interface manager's ordinal of an interface.
std::uint32_t ordinal(IfIndex index);

}  // namespace chassis
