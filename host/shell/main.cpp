// cush: the operator's shell of a chassis.

#include <unistd.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "host/process/argument_pointers.h"
#include "host/shell/session.h"
#include "host/shell/terminal.h"

namespace {

using shell::CommandError;
using shell::Status;

struct Options {
  std::vector<std::string> lines;
  std::string name;
  bool json = false;
  bool keep_going = false;
};

/// Starts this program again inside a running chassis, by way of `chassis exec`. Returns only on failure.
[[noreturn]] void attach(const Options &options) {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::string chassis = folder / "chassis";
  std::vector<std::string> words{chassis, "exec", "--name", options.name, "switch", "--", folder / "cush"};
  for (const std::string &line : options.lines) {
    words.insert(words.end(), {"-c", line});
  }
  if (options.json) {
    words.emplace_back("--json");
  }
  if (options.keep_going) {
    words.emplace_back("--keep-going");
  }
  const std::vector<char *> arguments = process::argument_pointers(words);
  execv(chassis.c_str(), arguments.data());
  throw CommandError(shell::status_failed,
                     fmt::format("{} cannot be started: {}.", chassis, std::strerror(errno)));
}

/// The next line of a script, cut behind the limit so that the session refuses it; false at the end.
bool next_line(std::istream &input, std::string &line) {
  std::array<char, shell::line_limit + 3> buffer{};
  input.getline(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  const auto taken = static_cast<std::size_t>(input.gcount());
  if (input.eof() && taken == 0) {
    return false;
  }
  if (input.fail() && !input.eof()) {
    input.clear();
    input.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    line.assign(buffer.data(), taken);
    return true;
  }
  line.assign(buffer.data(), input.eof() ? taken : taken - 1);
  return true;
}

Status run_script(shell::Session &session, std::istream &input, bool keep_going) {
  Status status = shell::status_ok;
  for (std::string line; !session.ended() && next_line(input, line);) {
    const Status one = session.run_line(line);
    status = status == shell::status_ok ? one : status;
    if (status != shell::status_ok && !keep_going) {
      break;
    }
  }
  return status;
}

Status run(const Options &options) {
  const shell::CommandTree tree = shell::load_trees(shell::trees_folder());
  shell::Link link(opal::bus::run_folder());
  const bool terminal = options.lines.empty() && isatty(STDIN_FILENO) == 1;
  const shell::SessionOptions session_options{options.json, isatty(STDOUT_FILENO) == 1 && !options.json,
                                              options.keep_going};
  shell::Session session(tree, link, session_options, std::cout, std::cerr);
  if (!options.lines.empty()) {
    std::istringstream lines(fmt::format("{}", fmt::join(options.lines, "\n")));
    return run_script(session, lines, options.keep_going);
  }
  if (terminal) {
    shell::run_terminal(session);
    return shell::status_ok;
  }
  return run_script(session, std::cin, options.keep_going);
}

constexpr const char *footer =
    "Without -c, commands come from standard input: on a terminal with editing and history,\n"
    "else one line after the other until the first that fails.\n\n"
    "Examples:\n"
    "  cush -c \"show cin vlans\"\n"
    "  cush -c \"vlan 100-105 cin; show running-config vlan 100-105\"\n"
    "  cush --json -c \"show counters interface ethernet 1/1-4\"\n\n"
    "Exit status: 0 done, 1 a command failed, 2 a command or an option was not understood.\n";

}  // namespace

int main(int count, char **arguments) try {
  Options options;
  CLI::App app{"The operator's shell of a chassis."};
  app.footer(footer);
  app.set_version_flag("--version", std::string("cush ") + PROJECT_VERSION);
  app.add_option("-c", options.lines, "Carry out this line and end; may be given again")
      ->type_name("LINE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_option("--name", options.name, "Attach to the running chassis of this name")->type_name("NAME");
  app.add_flag("--json", options.json, "Print one JSON document per command, each on a line");
  app.add_flag("--keep-going", options.keep_going, "Go on after a command that failed");
  try {
    app.parse(count, arguments);
  } catch (const CLI::Success &shown) {
    return app.exit(shown);
  } catch (const CLI::ParseError &error) {
    std::cerr << "cush: " << error.what() << "; cush --help shows what is accepted.\n";
    return shell::status_syntax;
  }
  try {
    if (!options.name.empty()) {
      attach(options);
    }
    const Status status = run(options);
    if (!std::cout.flush()) {
      throw CommandError(shell::status_failed, "The output cannot be written.");
    }
    return status;
  } catch (const CommandError &error) {
    std::cerr << "cush: " << error.what() << "\n";
    return error.status();
  }
} catch (const std::exception &failure) {
  std::cerr << "cush: " << failure.what() << "\n";
  return shell::status_failed;
}
