#include "host/chassis/asic/counters_json.h"

#include <nlohmann/json.hpp>

namespace chassis {

using nlohmann::json;

json as_json(const FrameCounters &counters) { return {{"ucast", counters.ucast}, {"mcast", counters.mcast}}; }

json as_json(const PortCounters &counters, DropsListed drops) {
  json dropped = json::object();
  for (std::size_t reason = 0; reason < counters.dropped.size(); ++reason) {
    if (drops == DropsListed::all || counters.dropped[reason] != 0)
      dropped[drop_name(static_cast<DropReason>(reason))] = counters.dropped[reason];
  }
  return {{"rx", as_json(counters.rx)}, {"tx", as_json(counters.tx)}, {"dropped", dropped}};
}

}  // namespace chassis
