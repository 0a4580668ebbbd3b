// Runs a program in a running chassis, in the network of one of its nodes.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/system/failure.h"

namespace chassis {

/// Runs the program as a process in the sandbox of `chassis` ("" for the only one that is running), in the
/// network namespace of `node`; "switch" and "." are the sandbox's own. @return the program's exit status
host::Result<int> run_at_node(const std::string &chassis, const std::string &node,
                              const std::vector<std::string> &words);

/// Runs a program as a child process, which receives the terminal's signals. @return its exit status, 127 when
/// it cannot be run, 128 plus the signal's number when a signal ended it
/// @param prepare is called first in the child; may be empty
host::Result<int> run_and_wait(const std::vector<std::string> &words,
                               const std::function<void()> &prepare = {});

}  // namespace chassis
