// A port's counters as the kernel module's device answers them, taken where the frames pass the daemon's
// devices.
#pragma once

#include "host/chassis/asic/inband_counters.h"
#include "host/chassis/kernel_module/klm_records.h"
#include "host/chassis/model/description.h"

namespace chassis {

/// Fills the counters of an interface; a port-channel's are those of the ASIC port that the daemon told the
/// module for it. @return false when there is no such interface
bool fill_module_counters(Board board, const InbandCounters &counted, const KlmMirror &mirror, IfIndex index,
                          teskk_port_counters_t &counters);

}  // namespace chassis
