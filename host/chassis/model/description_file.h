// A chassis's description, read from a YAML file.
//
//   name: lab                     # optional; only one chassis of each name runs at a time
//   board: 82                     # 82: 20 downlinks, mgmt0
//                                 # 83: 14 downlinks, mgmt1, uplinks on ASIC ports 4-6 and 14-16
//   amm:
//     vlans: [4095, 100, 200]     # access interfaces in the AMM's namespace: sol0, vlan100, vlan200
//                                 # default: one for each VLAN that some port carries
//   ports:                        # front ports by number, from 1
//     - port: 1
//       blade: blade1             # a namespace with trunk0 and access interfaces
//       vlans: [4095, 100]        # carried, tagged; each gets an access interface; default: [4095]
//       addresses:                # optional, for the AMM too: replace the default addresses
//         100: 192.0.2.7/24       # or none
//       link: up                  # or down
//     - port: 5
//       attach: eth1              # an existing interface of the machine instead of a blade
//       vlans: [4095, 100]
//   port_channels:
//     - channel: 7
//       members: [3, 4]           # front ports; they carry the channel's VLANs and have none of their own
//       vlans: [4095, 100]
//   incompatible:                 # VLANs with a feature that excludes CIN (chassis internal network)
//     - vlan: 300
//
// An empty file is the built-in default. Every mistake is refused as "file:line: what is accepted".
// Limits: 1 MiB of text, 64 VLANs per node.
#pragma once

#include <filesystem>
#include <string>

#include "host/chassis/model/description.h"
#include "host/system/failure.h"

namespace chassis {

/// The text of a failure begins with "file:line: ".
host::Result<Description> read_description(const std::filesystem::path &file);

/// Reads the description from a text; `file` is its name in the failures.
host::Result<Description> parse_description(const std::string &text, const std::string &file);

}  // namespace chassis
