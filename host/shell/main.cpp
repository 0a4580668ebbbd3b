// cush: the operator's shell of a chassis.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "host/shell/command_line.h"
#include "host/shell/session.h"
#include "host/shell/terminal.h"
#include "host/system/argument_pointers.h"

namespace {

using shell::CommandError;
using shell::Options;
using shell::Status;

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
  const std::vector<char *> arguments = host::argument_pointers(words);
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

}  // namespace

int main(int count, char **words) try {
  const auto read = shell::read_command_line(count, words);
  if (const int *status = std::get_if<int>(&read)) {
    return *status;
  }
  const auto &options = std::get<Options>(read);
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
} catch (const std::exception &failure) {
  std::cerr << "cush: " << failure.what() << "\n";
  return shell::status_failed;
}
