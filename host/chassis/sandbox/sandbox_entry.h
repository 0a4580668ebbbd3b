// Enters the sandbox of a running chassis.
#pragma once

#include <string>

#include "host/system/failure.h"

namespace chassis {

/// Moves this (single-threaded) process into the sandbox of a running chassis: its files, its network, and
/// the environment that commands find there. Processes that it forks afterwards belong to the sandbox and end
/// with it. Does nothing if the process is already in that sandbox.
/// @param name of the chassis; "" for the only one that is running
[[nodiscard]] host::Result<> enter_sandbox(const std::string &name);

}  // namespace chassis
