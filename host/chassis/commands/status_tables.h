// `chassis status` for people: the report's JSON as tables.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace chassis {

/// @param colour marks what deserves attention with terminal colours
std::string status_tables(const nlohmann::json &report, bool colour);

}  // namespace chassis
