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
#include "host/system/failure.h"

namespace chassis {
namespace {

namespace fs = std::filesystem;

constexpr const char *description_copy = "chassis.yaml";

fs::path own_program() { return fs::read_symlink("/proc/self/exe"); }

Description describe(const RunOptions &options) {
  Description description = default_description();
  if (!options.file.empty()) {
    auto read = read_description(options.file);
    if (const auto *error = std::get_if<DescriptionError>(&read)) throw host::Failure(error->what);
    description = std::get<Description>(std::move(read));
  }
  if (!options.name.empty()) description.name = options.name;
  if (!is_name(description.name))
    throw WrongCommandLine("--name: a chassis's name is 1 to 32 letters, digits, '-' and '_'");
  description.faults = options.faults;
  return description;
}

void check_faults(const Words &faults) {
  FaultTable table;
  for (const auto &fault : faults)
    if (const auto refusal = table.set_from_option(fault); !refusal.empty())
      throw WrongCommandLine("--fault: " + refusal);
}

fs::path daemon_program(const RunOptions &options) {
  fs::path daemon =
      options.daemon.empty() ? own_program().parent_path() / "tesk" : fs::absolute(options.daemon);
  if (access(daemon.c_str(), X_OK) != 0)
    throw host::Failure(
        fmt::format("the daemon {} cannot be run; build it, or name another with --daemon", daemon.string()));
  return daemon;
}

std::vector<std::string> attached_interfaces(const Description &description) {
  std::vector<std::string> interfaces;
  for (const auto &port : description.ports)
    if (!port.attach.empty()) interfaces.push_back(port.attach);
  return interfaces;
}

/// This program's own command line inside the sandbox.
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

/// The sandbox may not see the file, and the file may change: the chassis starts from a copy.
void copy_description(const RunOptions &options, const fs::path &run_folder) {
  if (options.file.empty()) return;
  std::error_code error;
  fs::copy_file(options.file, run_folder / description_copy, error);
  if (error)
    throw host::Failure(
        fmt::format("{} cannot be copied to {}: {}", options.file, run_folder.string(), error.message()));
}

}  // namespace

int run_chassis(const RunOptions &options) {
  check_faults(options.faults);
  const Description description = describe(options);
  const fs::path daemon = daemon_program(options);
  if (options.command && options.command->empty())
    throw WrongCommandLine("run: COMMAND is missing behind --");
  if (const auto missing = missing_prerequisite(); !missing.empty()) throw host::Failure(missing);
  const auto interfaces = attached_interfaces(description);
  if (const auto refusal = refusal_to_lend(interfaces); !refusal.empty()) throw host::Failure(refusal);
  const RunFolder folder(description.name);
  copy_description(options, folder.path());
  return run_sandboxed({folder.path(), own_program().parent_path(), description.name, daemon,
                        inside_command(options, description, daemon), interfaces});
}

int run_in_sandbox(const RunOptions &options) {
  const fs::path programs = own_program().parent_path();
  const Words shell{(programs / "cush").string()};
  return run_chassis_process(
      {describe(options), programs, options.daemon, options.command.value_or(shell), options.terminal});
}

}  // namespace chassis
