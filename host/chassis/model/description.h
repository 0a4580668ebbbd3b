// The description of a chassis as records: its name, board, nodes, ports and port-channels. It is read from a
// file (description_file.h), or is the built-in default.
//
// Default addresses: 10.(n / 256).(n % 256).X/24 in VLAN n, and 10.255.255.X/24 in the SoL VLAN. X is 1 for
// the AMM, and 10 + port for a blade. For example, in VLAN 100 the AMM is 10.0.100.1, and the blade at port 2
// is 10.0.100.12. (docs/glossary.md explains AMM and SoL.)
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/chassis/base/numbers.h"

namespace chassis {

inline constexpr std::uint16_t port_channel_max = 4096;

enum class Board : std::uint16_t { b82 = 82, b83 = 83 };

/// Front port as people count it, from 1.
struct FrontPort {
  std::uint8_t value = 1;
  friend auto operator<=>(const FrontPort &, const FrontPort &) = default;
};

/// Last number of a node's default addresses. The node's MAC addresses contain it too.
inline constexpr std::uint8_t amm_station = 1;
constexpr std::uint8_t blade_station(FrontPort port) { return static_cast<std::uint8_t>(10 + port.value); }

struct AccessInterface {
  VlanId vlan;
  std::string name;     ///< "sol0", "vlan100"
  std::string address;  ///< "10.0.100.3/24"; "" for none
};

struct NodeDescription {
  std::string name;  ///< "amm", "blade1"
  std::vector<AccessInterface> access;
};

struct PortDescription {
  FrontPort port;
  std::optional<NodeDescription> blade;  ///< a port has a blade …
  std::string attach;                    ///< … or an interface of the machine, or neither
  std::vector<VlanId> vlans;             ///< a member of a port-channel has the channel's VLANs here
  bool link_up = true;
};

struct PortChannelDescription {
  std::uint16_t channel = 1;
  std::vector<FrontPort> members;
  std::vector<VlanId> vlans;
};

struct Description {
  std::string name = "chassis";
  Board board = Board::b82;
  NodeDescription amm;
  std::vector<PortDescription> ports;
  std::vector<PortChannelDescription> port_channels;
  std::vector<VlanId> incompatible;
  /// "SERVICE=refuse" or "SERVICE=silent", from the command line; see endpoint/faults.h
  std::vector<std::string> faults;
};

/// Whether a text is a valid name of a chassis or a node: 1 to 32 letters, digits, '-' and '_', '-' not first.
bool is_name(std::string_view text);

/// The built-in default: board 82, blades 1 to 4 on ports 1 to 4, an AMM, the SoL VLAN and VLANs 100 and 200.
Description default_description();

/// A node with an access interface in each of the VLANs; each interface has its default name and address.
NodeDescription make_node(std::string name, const std::vector<VlanId> &vlans, unsigned station);

}  // namespace chassis
