// The ASIC's counters as JSON, for every report that shows them.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "host/chassis/asic/fabric.h"

namespace chassis {

/// Which reasons of dropped frames a report lists.
enum class DropsListed { all, counted_only };

nlohmann::json as_json(const FrameCounters &counters);

/// {"rx": {"ucast": 1, "mcast": 0}, "tx": {…}, "dropped": {"runt": 2}}
nlohmann::json as_json(const PortCounters &counters, DropsListed drops);

}  // namespace chassis
