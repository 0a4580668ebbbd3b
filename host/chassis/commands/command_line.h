// The command line of the `chassis` program.
//
// Exit status: 0, the exit status of the subcommand's program, 1 when something failed, 2 for a wrong command
// line. Both failures print one sentence on standard error.
#pragma once

namespace chassis {

/// Parses the command line and runs the chosen subcommand. @return the exit status
int run_command_line(int count, char **words);

}  // namespace chassis
