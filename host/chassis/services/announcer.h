// Sends the state of the interfaces to subscribers.
//
// A queue that subscribes receives the present state at once: the interfaces that are up, their forwarding
// states, and the line card when it is online. After a change of the chassis's state, `publish_changes`
// compares the published state with the present state and publishes the difference: an interface that went
// down (with the VLANs that it carried), came up, or carries other VLANs, and then the new forwarding states.
// An interface is a port on its own, or a port-channel in place of its members: while ports are members of a
// port-channel, their own states are not published. When the operational members of a port-channel change, it
// is published as down and then as up, because a subscriber looks up its members when it comes up.
#pragma once

#include <map>
#include <vector>

#include "host/chassis/model/chassis_state.h"
#include "host/chassis/services/broker.h"
#include "host/chassis/services/notices.h"

namespace chassis {

class Announcer {
 public:
  Announcer(const ChassisState &state, Broker &broker);

  /// Sends the present state to a new subscriber of `opcode`.
  void send_present_state(std::uint32_t opcode, bus::Address queue);

  /// Publishes the changes since the last call.
  void publish_changes();

  /// Publishes that the line card is online.
  void publish_line_card_online();

  /// While a subscriber handles the notice that a port-channel went down, it may still request the members.
  /// @return the members that the channel had, empty when the channel has not just gone down
  std::vector<IfIndex> members_before_down(IfIndex channel) const;

  /// Call this when the notices sent so far have been handled.
  void forget_members_before_down() { gone_down_.clear(); }

 private:
  /// An interface that is up, as published.
  struct Published {
    VlanSet up;
    VlanSet forwarding;
    std::vector<IfIndex> members;  ///< the members of a port-channel that are up
  };
  using View = std::map<IfIndex, Published>;

  View present() const;
  std::vector<LinkRecord> link_changes(const View &now) const;
  std::vector<ForwardingRecord> forwarding_changes(const View &now) const;
  bool came_up(IfIndex index, const View &now) const;
  bool went_down(IfIndex index, const View &now) const;
  void remember_members(const View &now);

  const ChassisState &state_;
  Broker &broker_;
  View published_;
  std::map<IfIndex, std::vector<IfIndex>> gone_down_;
};

}  // namespace chassis
