// Compares the kernel device's mirror with the state of the chassis. They should agree on the following:
//
// - a mirrored port is an interface that is up (or the management port), on the ASIC port that carries it;
//   it is in VLANs that the interface carries, and each forwards as in the chassis (the SoL VLAN always does);
// - every downlink that is up, on its own or as a port-channel, is mirrored;
// - the ports of a mirrored VLAN are the ports that are up, carry the VLAN in the mirror and forward it.
//
// (docs/glossary.md explains mirror, SoL and downlink.)
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "host/chassis/kernel_module/klm_device.h"
#include "host/chassis/model/chassis_state.h"

namespace chassis {

/// The tables of the kernel device; each row lists its differences from the chassis.
nlohmann::json mirror_report(const ChassisState &state, const KlmDevice &klm);

}  // namespace chassis
