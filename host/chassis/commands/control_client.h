// The client of the control address, for the subcommands of the `chassis` program.
#pragma once

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "host/system/failure.h"

namespace chassis {

/// Sends a request to the chassis in whose sandbox this process is. If it is in none, first enters the
/// sandbox of `name`.
/// @param name of the chassis; "" for the only one that is running
/// @return the answer, whose "ok" is true
host::Result<nlohmann::json> ask_chassis(const std::string &name, const nlohmann::json &request,
                                         std::chrono::milliseconds bound = std::chrono::seconds{10});

}  // namespace chassis
