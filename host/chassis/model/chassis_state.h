// The truth about a chassis's interfaces: links, VLANs and forwarding states of ports and port-channels.
//
// A port-channel is an interface of its own. While a port is its member, the channel's VLANs count and
// the port's own rest; when it leaves, its own count again. What of this the ASIC needs is written
// through to the fabric at once. Who must be told is the announcer's business (announcer.h).
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
  VlanSet forwarding;  ///< CBL
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

/// Members that one port-channel can have, as many as its record holds.
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

  /// The port, or those members of the channel that are up; empty for an unknown index.
  std::vector<const Port *> operational_ports(IfIndex index) const;

  /// VLANs of a port or a channel; null for an unknown index.
  const InterfaceVlans *vlans(IfIndex index) const;

  bool line_card_online() const { return line_card_online_; }
  void set_line_card_online(bool online) { line_card_online_ = online; }

  void set_link(FrontPort port, bool up);
  /// A VLAN that comes up forwards; one that goes down is carried no more. @param index an existing one
  void set_vlan(IfIndex index, VlanId vlan, bool up);
  void set_forwarding(IfIndex index, VlanId vlan, bool on);

  /// Makes the channel when it is new.
  host::Result<> join_channel(std::uint16_t channel, FrontPort port);
  /// The channel ends with its last member.
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
