// What a chassis is made of, read from a YAML file.
//
//   name: lab                     # optional; one chassis of a name runs at a time
//   board: 82                     # 82: 20 downlinks, mgmt0. 83: 14 downlinks, uplinks on ASIC ports 4-6
//                                 # and 14-16, mgmt1
//   amm:
//     vlans: [4095, 100, 200]     # access interfaces in the AMM's namespace: sol0, vlan100, vlan200; without
//                                 # this line, one for each VLAN that some port carries
//   ports:                        # front ports by number, from 1
//     - port: 1
//       blade: blade1             # a namespace with trunk0 and access interfaces
//       vlans: [4095, 100]        # carried, tagged; each gets an access interface. Without this line, 4095
//       addresses:                # optional, for the AMM too: instead of the default addresses
//         100: 192.0.2.7/24       # or none
//       link: up                  # or down
//     - port: 5
//       attach: eth1              # instead of a blade: an existing interface of the machine
//       vlans: [4095, 100]
//   port_channels:
//     - channel: 7
//       members: [3, 4]           # front ports; they carry the channel's VLANs and have no `vlans` of
//                                 # their own
//       vlans: [4095, 100]
//   incompatible:                 # VLANs that carry a feature which excludes CIN
//     - vlan: 300
//
// Default addresses: in VLAN n 10.(n / 256).(n % 256).X/24, in the SoL VLAN 10.255.255.X/24; X is 1 for the
// AMM, 10 + port for a blade. So the AMM is 10.0.100.1 in VLAN 100, and the blade at port 2 is 10.0.100.12.
//
// An empty file is the built-in default. Every mistake is refused with "file:line: what was expected".
// Limits: 1 MiB of text, 64 VLANs per node.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
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

/// Last number of a node's default addresses; it stands in the MAC addresses, too.
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
  std::optional<NodeDescription> blade;  ///< either a blade …
  std::string attach;                    ///< … or an interface of the machine, or neither
  std::vector<VlanId> vlans;             ///< of a port-channel's member: the channel's
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
  std::vector<std::string>
      faults;  ///< "SERVICE=refuse" or "SERVICE=silent", from the command line; see faults.h
};

/// A mistake in a description; `what` is one sentence that begins with "file:line: ".
struct DescriptionError {
  std::string what;
};

std::variant<Description, DescriptionError> read_description(const std::filesystem::path &file);

/// The same, of a text; `file` is what errors call it.
std::variant<Description, DescriptionError> parse_description(const std::string &text,
                                                              const std::string &file);

/// Whether a text may name a chassis or a node: 1 to 32 letters, digits, '-' and '_', '-' not first.
bool is_name(std::string_view text);

/// The built-in default: board 82, blades 1 to 4 on ports 1 to 4, an AMM, SoL and VLANs 100 and 200.
Description default_description();

/// Management device of a board: "mgmt0" or "mgmt1".
const char *management_device(Board board);
IfIndex management_if_index(Board board);

/// ASIC port of a front port. Board 82: the number less one. Board 83: front ports 1 to 14 are the
/// downlinks 0-3, 7-13, 17-19; front ports 15 to 20 the uplinks 4-6, 14-16.
std::optional<AsicPort> asic_port(Board board, FrontPort port);

/// Front port of an ASIC port; the inverse of asic_port.
FrontPort front_port(Board board, AsicPort port);

/// Interface index of a front port ("ethernet 1/3" for front port 3).
IfIndex if_index(FrontPort port);

/// Front port of an interface index; nothing for one that is no Ethernet port 1 to 20.
std::optional<FrontPort> front_port_of(IfIndex index);

/// Channel number of an interface index, 1 to 4096; nothing for one that is no port-channel.
std::optional<std::uint16_t> channel_of(IfIndex index);

}  // namespace chassis
