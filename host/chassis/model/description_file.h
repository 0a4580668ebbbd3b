// A chassis's description, read from a YAML file.
//
//   name: lab                     # optional; one chassis of a name runs at a time
//   board: 82                     # 82: 20 downlinks, mgmt0
//                                 # 83: 14 downlinks, mgmt1, uplinks on ASIC ports 4-6 and 14-16
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
//       members: [3, 4]           # front ports; they carry the channel's VLANs and have none of their own
//       vlans: [4095, 100]
//   incompatible:                 # VLANs that carry a feature which excludes CIN
//     - vlan: 300
//
// An empty file is the built-in default. Every mistake is refused with "file:line: what was expected".
// Limits: 1 MiB of text, 64 VLANs per node.
#pragma once

#include <filesystem>
#include <string>

#include "host/chassis/model/description.h"
#include "host/system/failure.h"

namespace chassis {

/// The sentence about a mistake begins with "file:line: ".
host::Result<Description> read_description(const std::filesystem::path &file);

/// The same, of a text; `file` is what errors call it.
host::Result<Description> parse_description(const std::string &text, const std::string &file);

}  // namespace chassis
