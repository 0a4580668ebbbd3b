// `chassis exec NODE COMMAND…`
#include <memory>

#include "host/chassis/command_line.h"
#include "host/chassis/commands.h"
#include "host/chassis/node_command.h"

namespace chassis {

void add_exec_command(CLI::App &app) {
  struct Words {
    std::string name, node;
  };
  const auto words = std::make_shared<Words>();
  CLI::App *command = app.add_subcommand("exec", "Run a command in a node of a running chassis");
  command->add_option("--name", words->name, "Chassis; not needed inside it, or when only one runs");
  command->add_option("NODE", words->node, "amm, a blade's name, or switch for the daemon's own surroundings")
      ->required();
  command->prefix_command();
  command->footer(
      "Examples:\n"
      "  chassis exec amm ping -c 3 10.255.255.11\n"
      "  chassis exec blade1 tcpdump -n -e -i trunk0\n"
      "  chassis exec switch ip -brief link");
  command->callback([command, words] {
    const auto program = trailing_command(command->remaining());
    if (program.empty()) throw CLI::ValidationError("exec", "COMMAND is missing");
    throw CLI::RuntimeError(run_at_node(words->name, words->node, program));
  });
}

}  // namespace chassis
