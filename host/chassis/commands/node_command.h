// Running a program in a running chassis, in the network of one of its nodes.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/system/failure.h"

namespace chassis {

/// Runs the program as a process of the sandbox `chassis` ("" for the only one that runs), in the network
/// namespace of `node`; "switch" and "." mean the sandbox's own. @return its exit status
host::Result<int> run_at_node(const std::string &chassis, const std::string &node,
                              const std::vector<std::string> &words);

/// Runs a program as a child, to which the terminal's signals are left. @return its exit status, 127 when it
/// cannot be run, 128 and the signal's number when a signal ended it
/// @param prepare is called in the child first; may be empty
host::Result<int> run_and_wait(const std::vector<std::string> &words,
                               const std::function<void()> &prepare = {});

}  // namespace chassis
