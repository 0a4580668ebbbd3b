// The command line of `cush`.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "host/shell/command_error.h"

namespace shell {

struct Options {
  std::vector<std::string> lines;  ///< to be carried out instead of standard input
  std::string name;  ///< of the running chassis to attach to; "" for the one around this process
  bool json = false;
  bool keep_going = false;  ///< after a command that failed
};

/// @return the options; or, when help was shown or the words were not understood, the program's exit status
std::variant<Options, int> read_command_line(int count, char **words);

}  // namespace shell
