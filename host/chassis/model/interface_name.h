// Interfaces as people write them: "3", "1/3", "ethernet 1/3" and the name of its blade are all front
// port 3; "port-channel 7" is a port-channel.
#pragma once

#include <string>
#include <string_view>

#include "host/chassis/model/chassis_state.h"
#include "host/system/failure.h"

namespace chassis {

/// "ethernet 1/3", "port-channel 7", "mgmt0"; the number in hexadecimal for what no chassis has.
std::string interface_name(IfIndex index);

/// An existing interface; the sentence of a failure says what is accepted.
host::Result<IfIndex> find_interface(const ChassisState &state, std::string_view text);

/// A front port only.
host::Result<FrontPort> find_port(const ChassisState &state, std::string_view text);

}  // namespace chassis
