// `chassis status [--json]`
#include <fmt/core.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "host/chassis/commands/commands.h"
#include "host/chassis/commands/control_client.h"
#include "host/chassis/commands/status_tables.h"

namespace chassis {

host::Result<> print_status(const StatusOptions &options) {
  host::Result<nlohmann::json> answer = ask_chassis(options.name, {{"verb", "status"}});
  if (!answer) return failed(std::move(answer));
  const nlohmann::json &report = *answer;
  if (options.json) {
    fmt::print("{}\n", report.dump(2));
  } else {
    fmt::print("{}", status_tables(report, isatty(STDOUT_FILENO) == 1));
  }
  return {};
}

}  // namespace chassis
