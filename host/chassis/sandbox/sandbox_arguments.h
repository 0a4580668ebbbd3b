// The command line of bubblewrap for the sandbox. sandbox.h says what programs see inside.
#pragma once

#include <string>
#include <vector>

#include "host/chassis/sandbox/sandbox.h"

namespace chassis {

struct SandboxDescriptors {
  int information;  ///< bubblewrap writes the number of a process in the sandbox to this descriptor
  int users;        ///< the user namespace to use; -1: bubblewrap makes one
  int empty_file;   ///< yields no bytes: content of the file over which the kernel module's device is mounted
};

std::vector<std::string> sandbox_arguments(const SandboxPlan &plan, const SandboxDescriptors &descriptors);

/// Where the run folder appears inside.
inline constexpr const char *inside_run_folder = "/run/opal";

}  // namespace chassis
