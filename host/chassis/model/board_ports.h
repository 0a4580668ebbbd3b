// The ports of the two boards, in the three ways of counting them: front port, ASIC port, interface index.
#pragma once

#include <cstdint>
#include <optional>

#include "host/chassis/model/description.h"

namespace chassis {

/// Management device of a board: "mgmt0" or "mgmt1".
const char *management_device(Board board);
IfIndex management_if_index(Board board);

/// ASIC port of a front port. Board 82: the number less one. Board 83: front ports 1 to 14 are the
/// downlinks 0-3, 7-13, 17-19; front ports 15 to 20 the uplinks 4-6, 14-16.
std::optional<AsicPort> asic_port(Board board, FrontPort port);

/// Front port of an ASIC port; the inverse of asic_port.
FrontPort front_port(Board board, AsicPort port);

/// Whether the port is an uplink, which carries neither SoL nor CIN traffic. Board 82 has none.
bool is_uplink(Board board, AsicPort port);

/// Interface index of a front port ("ethernet 1/3" for front port 3).
IfIndex if_index(FrontPort port);

/// Front port of an interface index; nothing for one that is no Ethernet port 1 to 20.
std::optional<FrontPort> front_port_of(IfIndex index);

/// Interface index of a port-channel, 1 to 4096.
IfIndex channel_index(std::uint16_t channel);

/// Channel number of an interface index, 1 to 4096; nothing for one that is no port-channel.
std::optional<std::uint16_t> channel_of(IfIndex index);

/// Whether the board has the interface. Any port-channel number may be in use.
bool port_exists(Board board, IfIndex index);

}  // namespace chassis
