// The command line of the `chassis` program.
//
// Exit status: 0, the subcommand's own, 1 when something failed, 2 for a wrong command line. Either failure
// is one sentence on standard error.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace chassis {

/// Parses the command line and runs the chosen subcommand. @return the exit status
int run_command_line(int count, char **words);

/// The words behind the first "--" of the command line; nothing when there is no "--".
const std::optional<std::vector<std::string>> &words_after_dashes();

/// The command that a subcommand ends with: the words that it left over, then those behind "--".
std::vector<std::string> trailing_command(const std::vector<std::string> &left_over);

}  // namespace chassis
