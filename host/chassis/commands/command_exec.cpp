// `chassis exec NODE COMMAND…`
#include "host/chassis/commands/commands.h"
#include "host/chassis/commands/node_command.h"

namespace chassis {

int execute(const ExecOptions &options) {
  if (options.command.empty()) throw WrongCommandLine("exec: COMMAND is missing");
  return run_at_node(options.name, options.node, options.command);
}

}  // namespace chassis
