#include <fmt/format.h>
#include <unistd.h>

#include <memory>

#include "host/chassis/commands.h"
#include "host/chassis/control_client.h"
#include "host/chassis/status_tables.h"

namespace chassis {

namespace {

struct StatusOptions {
  std::string name;
  bool json = false;
};

void print_status(const StatusOptions &options) {
  const nlohmann::json report = ask_chassis(options.name, {{"verb", "status"}});
  if (options.json) {
    fmt::print("{}\n", report.dump(2));
  } else {
    fmt::print("{}", status_tables(report, isatty(STDOUT_FILENO) == 1));
  }
}

}  // namespace

void add_status_command(CLI::App &app) {
  CLI::App *command = app.add_subcommand(
      "status",
      "Show the daemon, ports, VLANs, the kernel device beside the chassis's truth, and the services");
  auto options = std::make_shared<StatusOptions>();
  command->add_flag("--json", options->json, "One JSON object instead of tables");
  command->add_option("--name", options->name, "The chassis, when several run");
  command->callback([options] { print_status(*options); });
}

}  // namespace chassis
