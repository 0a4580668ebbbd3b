// The kernel device's mirror beside the chassis's truth. What should agree:
//
// - a mirrored port is an interface that is up (or the management port), on the ASIC port that carries it,
//   in VLANs that the interface carries, each forwarding as the chassis says (SoL always forwards);
// - every downlink that is up, on its own or as a port-channel, is mirrored;
// - a mirrored VLAN's ports are those that are up, carry the VLAN in the mirror and forward it.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "host/chassis/kernel_module/klm_device.h"
#include "host/chassis/model/chassis_state.h"

namespace chassis {

/// The kernel device's tables beside the chassis's own, each row with the differences found.
nlohmann::json mirror_report(const ChassisState &state, const KlmDevice &klm);

}  // namespace chassis
