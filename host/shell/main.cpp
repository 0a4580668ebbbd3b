// cush: the operator's shell of a chassis.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "host/shell/command_line.h"
#include "host/shell/session.h"
#include "host/shell/terminal.h"
#include "host/system/argument_pointers.h"

namespace {

using shell::Options;
using shell::Status;

/// Starts this program again inside a running chassis, through `chassis exec`. Returns only on failure.
host::Failed attach(const Options &options) {
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
  const std::error_code cause = host::errno_cause(errno);
  return host::failure(cause, fmt::format("{} cannot be started: {}.", chassis, cause.message()));
}

/// Reads the next line of a script. A line over the limit is cut after the limit, so that the session still
/// refuses it. @return false at the end
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

host::Result<Status> run_session(const Options &options) {
  host::Result<shell::CommandTree> tree = shell::load_trees(shell::trees_folder());
  if (!tree) {
    return failed(std::move(tree));
  }
  host::Result<shell::BusClient> bus_client = shell::BusClient::open(opal::bus::run_folder());
  if (!bus_client) {
    return failed(std::move(bus_client));
  }
  const bool terminal = options.lines.empty() && isatty(STDIN_FILENO) == 1;
  const shell::SessionOptions session_options{options.json, isatty(STDOUT_FILENO) == 1 && !options.json,
                                              options.keep_going};
  shell::Session session(*tree, *bus_client, session_options, std::cout, std::cerr);
  if (!options.lines.empty()) {
    std::istringstream lines(fmt::format("{}", fmt::join(options.lines, "\n")));
    return run_script(session, lines, options.keep_going);
  }
  if (terminal) {
    return shell::run_terminal(session).map([] { return shell::status_ok; });
  }
  return run_script(session, std::cin, options.keep_going);
}

host::Result<Status> run(int count, char **words) {
  host::Result<std::optional<Options>> read = shell::read_command_line(count, words);
  if (!read) {
    return failed(std::move(read));
  }
  if (!*read) {
    return shell::status_ok;
  }
  const Options &options = **read;
  if (!options.name.empty()) {
    return attach(options);
  }
  host::Result<Status> status = run_session(options);
  if (status && !std::cout.flush()) {
    return host::failure("The output cannot be written.");
  }
  return status;
}

}  // namespace

int main(int count, char **words) try {
  const host::Result<Status> status = run(count, words);
  if (!status) {
    std::cerr << "cush: " << status.error().what << "\n";
    return host::exit_status(status.error());
  }
  return *status;
} catch (const std::exception &thrown) {
  // Thrown by a library that has no other way to fail, for example when out of memory.
  std::cerr << "cush: " << thrown.what() << "\n";
  return shell::status_failed;
}
