// The chassis itself: what `chassis run` executes inside the sandbox.
//
// It makes the devices, serves the platform and starts the daemon. When the daemon serves, it runs the command.
// It takes everything down in order when the command ends, when the lifeline ends, or when the daemon does not
// come up.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/chassis/model/description.h"
#include "host/system/failure.h"

namespace chassis {

struct ChassisPlan {
  Description description;
  std::filesystem::path programs;  ///< folder of the chassis's own programs
  std::filesystem::path daemon;
  std::vector<std::string> command;
  bool terminal = false;  ///< the command gets the terminal
};

/// @return the command's exit status, or 1 when the daemon did not come up
host::Result<int> run_chassis_process(const ChassisPlan &plan);

}  // namespace chassis
