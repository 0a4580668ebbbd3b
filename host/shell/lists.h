// Lists that an operator types: VLANs ("3-5,200") and interfaces ("ethernet 1/3-5,port-channel 7").
//
// A list holds at most 64 entries, the limit of the records that carry it. It is sent in the order in
// which it was typed. The program that serves the command checks whether a VLAN or an interface exists.
// The error for an invalid list says what is accepted.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/shell/command_failure.h"

namespace shell {

inline constexpr std::size_t list_limit = 64;

/// VLANs 1 to 4095, in ascending ranges.
host::Result<std::vector<Range>> parse_vlans(std::string_view text);

/// Interface indexes (include/opal/if_index.h). "ethernet", which may be omitted, "port-channel" and
/// "mgmt" may be abbreviated; "1/3-5" and "1/3-1/5" both mean three ports.
host::Result<std::vector<Range>> parse_interfaces(std::string_view text);

/// "3-5,200"
std::string ranges_text(const std::vector<Range> &ranges);

}  // namespace shell
