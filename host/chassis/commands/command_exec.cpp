// `chassis exec NODE COMMAND…`
#include "host/chassis/commands/commands.h"
#include "host/chassis/commands/node_command.h"

namespace chassis {

host::Result<int> execute(const ExecOptions &options) {
  if (options.command.empty()) return host::failure(host::not_understood(), "exec: COMMAND is missing");
  return run_at_node(options.name, options.node, options.command);
}

}  // namespace chassis
