// `chassis run [FILE] [-- COMMAND…]`, and `chassis inside`, which it executes in the sandbox.
#include <fmt/core.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "host/chassis/command_line.h"
#include "host/chassis/commands.h"
#include "host/chassis/failure.h"
#include "host/chassis/faults.h"
#include "host/chassis/inside.h"
#include "host/chassis/interfaces.h"
#include "host/chassis/run_folder.h"
#include "host/chassis/sandbox.h"
#include "host/chassis/sandbox_arguments.h"
#include "host/chassis/terminal.h"

namespace chassis {
namespace {

namespace fs = std::filesystem;

constexpr const char *description_copy = "chassis.yaml";

struct RunWords {
  std::string file, name, daemon;
  std::vector<std::string> faults;
  bool terminal = false;
};

fs::path own_program() { return fs::read_symlink("/proc/self/exe"); }

Description describe(const RunWords &words) {
  Description description = default_description();
  if (!words.file.empty()) {
    auto read = read_description(words.file);
    if (const auto *error = std::get_if<DescriptionError>(&read)) throw Failure(error->what);
    description = std::get<Description>(std::move(read));
  }
  if (!words.name.empty()) description.name = words.name;
  if (!is_name(description.name))
    throw CLI::ValidationError("--name", "a chassis's name is 1 to 32 letters, digits, '-' and '_'");
  description.faults = words.faults;
  return description;
}

void check_faults(const std::vector<std::string> &faults) {
  FaultTable table;
  for (const auto &fault : faults)
    if (const auto refusal = table.set_from_option(fault); !refusal.empty())
      throw CLI::ValidationError("--fault", refusal);
}

fs::path daemon_program(const RunWords &words) {
  fs::path daemon =
      words.daemon.empty() ? own_program().parent_path() / "tesk" : fs::absolute(words.daemon);
  if (access(daemon.c_str(), X_OK) != 0)
    throw Failure(
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
std::vector<std::string> inside_command(const RunWords &words, const Description &description,
                                        const fs::path &daemon) {
  std::vector<std::string> command{own_program().string(), "inside",   "--name",
                                   description.name,       "--daemon", daemon.string()};
  if (has_terminal()) command.emplace_back("--terminal");
  for (const auto &fault : words.faults) command.insert(command.end(), {"--fault", fault});
  if (!words.file.empty()) command.push_back((fs::path(inside_run_folder) / description_copy).string());
  if (!words_after_dashes()) return command;
  command.emplace_back("--");
  command.insert(command.end(), words_after_dashes()->begin(), words_after_dashes()->end());
  return command;
}

/// The sandbox may not see the file, and the file may change: the chassis starts from a copy.
void copy_description(const RunWords &words, const fs::path &run_folder) {
  if (words.file.empty()) return;
  std::error_code error;
  fs::copy_file(words.file, run_folder / description_copy, error);
  if (error)
    throw Failure(
        fmt::format("{} cannot be copied to {}: {}", words.file, run_folder.string(), error.message()));
}

int run(const RunWords &words) {
  check_faults(words.faults);
  const Description description = describe(words);
  const fs::path daemon = daemon_program(words);
  if (words_after_dashes() && words_after_dashes()->empty())
    throw CLI::ValidationError("run", "COMMAND is missing behind --");
  if (const auto missing = missing_prerequisite(); !missing.empty()) throw Failure(missing);
  const auto interfaces = attached_interfaces(description);
  if (const auto refusal = refusal_to_lend(interfaces); !refusal.empty()) throw Failure(refusal);
  const RunFolder folder(description.name);
  copy_description(words, folder.path());
  return run_sandboxed({folder.path(), own_program().parent_path(), description.name, daemon,
                        inside_command(words, description, daemon), interfaces});
}

int inside(const RunWords &words) {
  const fs::path programs = own_program().parent_path();
  const std::vector<std::string> shell{(programs / "cush").string()};
  return run_inside(
      {describe(words), programs, words.daemon, words_after_dashes().value_or(shell), words.terminal});
}

void add_words(CLI::App &command, RunWords &words) {
  command.add_option("FILE", words.file,
                     "Description of the chassis (YAML); the built-in 82 board without one");
  command.add_option("--name", words.name, "Name of the chassis; one of a name runs at a time");
  command.add_option("--daemon", words.daemon, "The daemon to run; tesk beside this program without this");
  command
      .add_option("--fault", words.faults,
                  "SERVICE=refuse or SERVICE=silent: a platform service that fails; may be repeated")
      ->allow_extra_args(false);
}

}  // namespace

void add_run_command(CLI::App &app) {
  const auto words = std::make_shared<RunWords>();
  CLI::App *command = app.add_subcommand(
      "run", "Start a chassis, run a command in it, and take everything down: run [FILE] [-- COMMAND...]");
  add_words(*command, *words);
  command->footer(
      "COMMAND is the shell, cush, when none is given; it runs once the daemon serves, and its exit status "
      "is the\n"
      "program's (128 and the signal's number when a signal ended it; 1 when the chassis did not come up; 2 "
      "for a\n"
      "wrong command line). It sees the machine's files read-only, may write in the current folder and in a "
      "/tmp\n"
      "of its own, and finds chassis, cush and OPAL_RUN_DIR in its environment.\n"
      "Examples:\n"
      "  chassis run\n"
      "  chassis run examples/board83.yaml -- cush -c \"show cin vlans\"\n"
      "  chassis run --name lab -- chassis exec amm ping -c 3 10.255.255.11\n"
      "  chassis run --fault ltlsvc=silent -- chassis status");
  command->callback([words] { throw CLI::RuntimeError(run(*words)); });

  CLI::App *hidden = app.add_subcommand("inside", "What `run` executes in the sandbox");
  hidden->group("");
  add_words(*hidden, *words);
  hidden->add_flag("--terminal", words->terminal);
  hidden->callback([words] { throw CLI::RuntimeError(inside(*words)); });
}

}  // namespace chassis
