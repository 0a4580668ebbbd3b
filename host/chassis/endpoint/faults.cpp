#include "host/chassis/endpoint/faults.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace chassis {

namespace {

constexpr std::array named_faults{
    FaultName{"board", "the board's identity"},
    FaultName{"qbus-subscribe", "subscriptions to notices"},
    FaultName{"cush-register", "registration of a parse tree with the shell"},
    FaultName{"cush-backend", "start of a command back end"},
    FaultName{"handshake", "the supervisor's handshake"},
    FaultName{"store-locations", "where the supervisor keeps the configuration stores"},
    FaultName{"condition", "the supervisor's start conditions"},
    FaultName{"start-status", "the report of a conditional service's start"},
    FaultName{"portsvc-register", "registration with the interface manager"},
    FaultName{"portsvc-present", "whether an interface exists"},
    FaultName{"ltlsvc-di", "the destination index of an interface"},
    FaultName{"ltl-answer", "allocation and release of a VLAN's LTL"},
    FaultName{"chanagg", "the members of a port-channel"},
    FaultName{"kinb-init", "start of the in-band driver's library"},
    FaultName{"kinb-add", "classification of a VLAN"},
    FaultName{"kinb-del", "end of a VLAN's classification"},
    FaultName{"capreg", "the feature registry"},
    FaultName{"vlan-feature", "setting and unsetting a feature in VLANs"},
    FaultName{"check-feature", "whether a VLAN may take a feature"},
    FaultName{"rcgen-register", "registration with the configuration generator"},
};

constexpr std::chrono::milliseconds longest_delay{60'000};

std::string list_of_names() {
  std::string list;
  for (const FaultName &entry : named_faults) list += (list.empty() ? "" : ", ") + std::string(entry.name);
  return list;
}

bool is_known(std::string_view name) {
  return std::any_of(named_faults.begin(), named_faults.end(),
                     [name](const FaultName &entry) { return entry.name == name; });
}

}  // namespace

std::span<const FaultName> fault_names() { return named_faults; }

host::Result<> FaultTable::set(std::string_view name, std::string_view mode,
                               std::chrono::milliseconds delay) {
  if (!is_known(name)) {
    return host::failure(
        fmt::format("there is no service \"{}\"; faults exist for {}", name, list_of_names()));
  }
  Fault fault;
  if (mode == "refuse") {
    fault.mode = FaultMode::refuse;
  } else if (mode == "silent") {
    fault.mode = FaultMode::silent;
  } else if (mode == "delay") {
    if (delay.count() < 1 || delay > longest_delay) {
      return host::failure(fmt::format("a delay of {} ms is not possible; give 1 to {} ms", delay.count(),
                                       longest_delay.count()));
    }
    fault.delay = delay;
  } else if (mode != "normal") {
    return host::failure(
        fmt::format("\"{}\" is not a kind of fault; give normal, refuse, silent or delay MS", mode));
  }
  if (mode == "normal") {
    active_.erase(std::string(name));
  } else {
    active_.insert_or_assign(std::string(name), fault);
  }
  return {};
}

host::Result<> FaultTable::set_from_option(std::string_view option) {
  const std::size_t equals = option.find('=');
  if (equals == std::string_view::npos) {
    return host::failure(
        fmt::format("the fault \"{}\" is not written as NAME=refuse or NAME=silent", option));
  }
  return set(option.substr(0, equals), option.substr(equals + 1));
}

Fault FaultTable::of(std::string_view name) const {
  const auto found = active_.find(name);
  return found == active_.end() ? Fault{} : found->second;
}

std::string describe(const Fault &fault) {
  if (fault.mode == FaultMode::refuse) return "refuse";
  if (fault.mode == FaultMode::silent) return "silent";
  if (fault.delay.count() > 0) return fmt::format("delay {} ms", fault.delay.count());
  return "normal";
}

}  // namespace chassis
