// Faults that a test or an operator puts into the platform's services.
//
// A fault belongs to one service name (the table in faults.cpp). It makes the service refuse (answer
// RCODE_REFUSED), stay silent (never answer), or answer late. Everything else works as before, so that one can
// watch how the daemon reacts to a single failing service.
#pragma once

#include <chrono>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "host/system/failure.h"

namespace chassis {

enum class FaultMode { normal, refuse, silent };

struct Fault {
  FaultMode mode = FaultMode::normal;
  std::chrono::milliseconds delay{0};  ///< added before the request is handled
};

struct FaultName {
  std::string_view name;
  std::string_view effect;  ///< the request that the fault affects, as text for people
};

/// The services that can have a fault.
std::span<const FaultName> fault_names();

class FaultTable {
 public:
  /// Sets a fault. @param mode "normal", "refuse", "silent" or "delay" @param delay for "delay" only
  /// The text of a failure says what is wrong and what is accepted.
  [[nodiscard]] host::Result<> set(std::string_view name, std::string_view mode,
                                   std::chrono::milliseconds delay = {});

  /// Sets a fault written as on the command line, "NAME=refuse".
  [[nodiscard]] host::Result<> set_from_option(std::string_view option);

  /// The fault of a service; normal for "" and for every name that was never set.
  Fault of(std::string_view name) const;

  /// The faults that are set, without those that are "normal".
  const std::map<std::string, Fault, std::less<>> &active() const { return active_; }

 private:
  std::map<std::string, Fault, std::less<>> active_;
};

/// "refuse", "silent", "delay 200 ms".
std::string describe(const Fault &fault);

}  // namespace chassis
