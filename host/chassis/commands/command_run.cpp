// `chassis run [FILE] [-- COMMAND…]`, and `chassis inside`, which it executes in the sandbox.
#include <fmt/core.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/chassis/commands/commands.h"
#include "host/chassis/endpoint/faults.h"
#include "host/chassis/model/description_file.h"
#include "host/chassis/run/chassis_process.h"
#include "host/chassis/sandbox/lent_interfaces.h"
#include "host/chassis/sandbox/prerequisites.h"
#include "host/chassis/sandbox/run_folder.h"
#include "host/chassis/sandbox/sandbox.h"
#include "host/chassis/sandbox/sandbox_arguments.h"
#include "host/chassis/sandbox/terminal.h"

namespace chassis {
namespace {

namespace fs = std::filesystem;

constexpr const char *description_copy = "chassis.yaml";

fs::path own_program() { return fs::read_symlink("/proc/self/exe"); }

host::Result<Description> describe(const RunOptions &options) {
  Description description = default_description();
  if (!options.file.empty()) {
    host::Result<Description> read = read_description(options.file);
    if (!read) return read;
    description = std::move(*read);
  }
  if (!options.name.empty()) description.name = options.name;
  if (!is_name(description.name)) {
    return host::failure(host::not_understood(),
                         "--name: a chassis's name is 1 to 32 letters, digits, '-' and '_'");
  }
  description.faults = options.faults;
  return description;
}

host::Result<> check_faults(const Words &faults) {
  FaultTable table;
  for (const auto &fault : faults) {
    if (host::Result<> set = table.set_from_option(fault); !set)
      return host::failure(host::not_understood(), "--fault: " + set.error().what);
  }
  return {};
}

host::Result<fs::path> daemon_program(const RunOptions &options) {
  fs::path daemon =
      options.daemon.empty() ? own_program().parent_path() / "tesk" : fs::absolute(options.daemon);
  if (access(daemon.c_str(), X_OK) != 0) {
    return host::failure(fmt::format("the daemon {} cannot be run; build it, or choose another with --daemon",
                                     daemon.string()));
  }
  return daemon;
}

std::vector<std::string> attached_interfaces(const Description &description) {
  std::vector<std::string> interfaces;
  for (const auto &port : description.ports)
    if (!port.attach.empty()) interfaces.push_back(port.attach);
  return interfaces;
}

/// The command line of this program inside the sandbox.
Words inside_command(const RunOptions &options, const Description &description, const fs::path &daemon) {
  Words command{own_program().string(), "inside", "--name", description.name, "--daemon", daemon.string()};
  if (has_terminal()) command.emplace_back("--terminal");
  for (const auto &fault : options.faults) command.insert(command.end(), {"--fault", fault});
  if (!options.file.empty()) command.push_back((fs::path(inside_run_folder) / description_copy).string());
  if (!options.command) return command;
  command.emplace_back("--");
  command.insert(command.end(), options.command->begin(), options.command->end());
  return command;
}

/// Makes a copy, from which the chassis starts: the file may be invisible in the sandbox, and it may change.
host::Result<> copy_description(const RunOptions &options, const fs::path &run_folder) {
  if (options.file.empty()) return {};
  std::error_code error;
  fs::copy_file(options.file, run_folder / description_copy, error);
  if (error) {
    return host::failure(error, fmt::format("{} cannot be copied to {}: {}", options.file,
                                            run_folder.string(), error.message()));
  }
  return {};
}

}  // namespace

host::Result<int> run_chassis(const RunOptions &options) {
  if (host::Result<> checked = check_faults(options.faults); !checked) return failed(std::move(checked));
  host::Result<Description> description = describe(options);
  if (!description) return failed(std::move(description));
  host::Result<fs::path> daemon = daemon_program(options);
  if (!daemon) return failed(std::move(daemon));
  if (options.command && options.command->empty())
    return host::failure(host::not_understood(), "run: COMMAND is missing after --");
  const auto interfaces = attached_interfaces(*description);
  host::Result<> possible = check_prerequisites().and_then([&] { return check_lendable(interfaces); });
  if (!possible) return failed(std::move(possible));
  host::Result<RunFolder> folder = RunFolder::make(description->name);
  if (!folder) return failed(std::move(folder));
  if (host::Result<> copied = copy_description(options, folder->path()); !copied)
    return failed(std::move(copied));
  return run_sandboxed({folder->path(), own_program().parent_path(), description->name, *daemon,
                        inside_command(options, *description, *daemon), interfaces});
}

host::Result<int> run_in_sandbox(const RunOptions &options) {
  host::Result<Description> description = describe(options);
  if (!description) return failed(std::move(description));
  const fs::path programs = own_program().parent_path();
  const Words shell{(programs / "cush").string()};
  return run_chassis_process(
      {std::move(*description), programs, options.daemon, options.command.value_or(shell), options.terminal});
}

}  // namespace chassis
