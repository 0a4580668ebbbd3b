// The only source that includes the command-line library, which takes long to compile.
#include "host/shell/command_line.h"

#include <CLI/CLI.hpp>

namespace shell {
namespace {

constexpr const char *footer =
    "Without -c, commands are read from standard input: on a terminal with editing and history,\n"
    "else line by line until the first failure.\n\n"
    "Examples:\n"
    "  cush -c \"show cin vlans\"\n"
    "  cush -c \"vlan 100-105 cin; show running-config vlan 100-105\"\n"
    "  cush --json -c \"show counters interface ethernet 1/1-4\"\n\n"
    "Exit status: 0 success, 1 a command failed, 2 a command or an option was not understood.\n";

}  // namespace

host::Result<std::optional<Options>> read_command_line(int count, char **words) {
  Options options;
  CLI::App app{"Run operator commands on a chassis."};
  app.footer(footer);
  app.set_version_flag("--version", std::string("cush ") + PROJECT_VERSION);
  app.add_option("-c", options.lines, "Run the commands of this line and exit; can be repeated")
      ->type_name("LINE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_option("--name", options.name, "Attach to the running chassis of this name")->type_name("NAME");
  app.add_flag("--json", options.json, "Print one JSON document per command, each on a line");
  app.add_flag("--keep-going", options.keep_going, "Continue after a command that failed");
  // The library throws for everything that ends the parsing: help, the version, and errors.
  try {
    app.parse(count, words);
  } catch (const CLI::Success &shown) {
    app.exit(shown);
    return std::nullopt;
  } catch (const CLI::ParseError &error) {
    return syntax_failure(std::string(error.what()) + "; cush --help shows what is accepted.");
  }
  return options;
}

}  // namespace shell
