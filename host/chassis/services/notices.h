// Payloads of the notices about interfaces that the daemon receives.
//
// Records that do not fit into one message are split over several messages, in order. The layouts are in
// opal/portsvc.h (state notice) and opal/ltlsvc.h (CBL notice, see docs/glossary.md).
#pragma once

#include <vector>

#include "host/chassis/endpoint/endpoint.h"
#include "host/chassis/model/chassis_state.h"
#include "opal/portsvc.h"

namespace chassis {

struct LinkRecord {
  IfIndex index;
  bool up = false;
  VlanSet vlans_up;
  VlanSet vlans_down;
  std::uint32_t active_ports = 1;

  friend bool operator==(const LinkRecord &, const LinkRecord &) = default;
};

struct ForwardingRecord {
  IfIndex index;
  VlanSet forwarding;

  friend bool operator==(const ForwardingRecord &, const ForwardingRecord &) = default;
};

std::vector<bus::Payload> encode(const std::vector<LinkRecord> &records);
std::vector<bus::Payload> encode(const std::vector<ForwardingRecord> &records);

}  // namespace chassis
