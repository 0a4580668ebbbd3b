// Tells subscribers what the interfaces are doing.
//
// A queue that subscribes is told the present state at once: the interfaces that are up, the line card
// when it is online, the forwarding states of the interfaces that are up. After a change of the chassis's
// state `publish_changes` compares what was told last with what is now and publishes the difference:
// an interface that went down (with the VLANs that it carried), came up, or carries other VLANs, and
// then the forwarding states that are new. An interface is a port on its own, or a port-channel in place
// of its members: the members' own states are not told while they are bundled. A port-channel whose
// operational members changed is told down and up again, because a subscriber looks its members up when
// it comes up.
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

  /// Tells a new subscriber of `opcode` the present state.
  void send_present_state(std::uint32_t opcode, bus::Address queue);

  /// Publishes what changed since the last call.
  void publish_changes();

  /// Publishes that the line card is online.
  void publish_line_card_online();

  /// A subscriber that is told that a port-channel goes down may still ask for its members while it
  /// handles the notice. @return those that it had, empty when the channel has not just gone down
  std::vector<IfIndex> members_before_down(IfIndex channel) const;

  /// The notices sent so far have been handled.
  void forget_members_before_down() { gone_down_.clear(); }

 private:
  /// An interface that is up, as told.
  struct Published {
    VlanSet up;
    VlanSet forwarding;
    std::vector<IfIndex> members;  ///< of a port-channel: those that are up
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
