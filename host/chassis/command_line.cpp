#include "host/chassis/command_line.h"

#include <fmt/core.h>

#include <algorithm>
#include <iostream>

#include "host/chassis/commands.h"
#include "host/chassis/failure.h"

namespace chassis {
namespace {

std::optional<std::vector<std::string>> after_dashes;

/// CLI11 gives the words behind "--" to whatever positional comes next; here they are a command.
std::vector<std::string> split_words(int count, char **words) {
  std::vector<std::string> all(words + 1, words + count);
  const auto dashes = std::find(all.begin(), all.end(), "--");
  if (dashes == all.end()) return all;
  after_dashes.emplace(dashes + 1, all.end());
  all.erase(dashes, all.end());
  return all;
}

std::string one_line(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

bool has_subcommand(const CLI::App &app, const std::string &name) {
  return !app.get_subcommands([&](const CLI::App *each) { return each->get_name() == name; }).empty();
}

int report(const CLI::App &app, const CLI::ParseError &error) {
  if (dynamic_cast<const CLI::Success *>(&error) != nullptr) return app.exit(error);
  if (const auto *result = dynamic_cast<const CLI::RuntimeError *>(&error)) return result->get_exit_code();
  std::cerr << "chassis: " << one_line(error.what()) << "; see chassis --help\n";
  return 2;
}

}  // namespace

const std::optional<std::vector<std::string>> &words_after_dashes() { return after_dashes; }

std::vector<std::string> trailing_command(const std::vector<std::string> &left_over) {
  std::vector<std::string> command = left_over;
  if (!after_dashes) return command;
  if (!command.empty()) command.emplace_back("--");
  command.insert(command.end(), after_dashes->begin(), after_dashes->end());
  return command;
}

int run_command_line(int count, char **words) {
  CLI::App app{
      "A virtual switch chassis that carries real frames: switch ASIC, blades, platform services and "
      "the daemon under its supervisor, in a sandbox that leaves nothing behind."};
  app.set_version_flag("--version", std::string("chassis ") + CHASSIS_VERSION);
  app.require_subcommand(1);
  add_run_command(app);
  add_exec_command(app);
  add_capture_command(app);
  add_status_command(app);
  add_event_command(app);
  add_trace_command(app);

  std::vector<std::string> arguments = split_words(count, words);
  // CLI11 would only say that a subcommand is missing.
  if (!arguments.empty() && !arguments[0].starts_with('-') && !has_subcommand(app, arguments[0])) {
    std::cerr << "chassis: there is no subcommand '" << arguments[0] << "'; see chassis --help\n";
    return 2;
  }
  std::reverse(arguments.begin(), arguments.end());  // the order in which CLI11 takes a vector
  try {
    app.parse(arguments);
  } catch (const CLI::ParseError &error) {
    return report(app, error);
  } catch (const Failure &failure) {
    std::cerr << "chassis: " << failure.what() << '\n';
    return 1;
  }
  return 0;
}

}  // namespace chassis
