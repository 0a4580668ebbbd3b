// The asking side of the control address, for the `chassis` program's subcommands.
#pragma once

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "host/system/failure.h"

namespace chassis {

/// Asks the chassis whose sandbox this process is in, entering that of `name` first when it is in none.
/// @param name of the chassis; "" for the only one that runs
/// @return the answer, whose "ok" is true
host::Result<nlohmann::json> ask_chassis(const std::string &name, const nlohmann::json &request,
                                         std::chrono::milliseconds bound = std::chrono::seconds{10});

}  // namespace chassis
