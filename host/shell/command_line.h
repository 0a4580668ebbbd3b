// The command line of `cush`.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/shell/command_failure.h"

namespace shell {

struct Options {
  std::vector<std::string> lines;  ///< to run instead of standard input
  std::string name;  ///< of the running chassis to attach to; "" for the one around this process
  bool json = false;
  bool keep_going = false;  ///< after a command that failed
};

/// @return the options; nothing when only help or the version was requested, and is now shown
host::Result<std::optional<Options>> read_command_line(int count, char **words);

}  // namespace shell
