// The command line of the `chassis` program.
//
// Exit status: 0, the subcommand's own, 1 when something failed, 2 for a wrong command line. Either failure
// is one sentence on standard error.
#pragma once

namespace chassis {

/// Parses the command line and runs the chosen subcommand. @return the exit status
int run_command_line(int count, char **words);

}  // namespace chassis
