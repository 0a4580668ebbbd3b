// A chassis of four ports, for tests.
#pragma once

#include <string>

#include "host/chassis/model/description.h"

namespace chassis {

/// Ports 1 to 4 with VLANs 100, 200 and 4095; port 4 is down; VLAN 300 is incompatible.
inline Description four_ports(Board board = Board::b82) {
  Description description;
  description.name = "bench";
  description.board = board;
  for (std::uint8_t number = 1; number <= 4; ++number) {
    PortDescription port;
    port.port = FrontPort{number};
    port.blade = NodeDescription{"blade" + std::to_string(number), {}};
    port.vlans = {VlanId{100}, VlanId{200}, sol_vlan};
    port.link_up = number != 4;
    description.ports.push_back(port);
  }
  description.incompatible = {VlanId{300}};
  return description;
}

}  // namespace chassis
