// The sandbox as bubblewrap's command line; what it looks like from inside stands in sandbox.h.
#pragma once

#include <string>
#include <vector>

#include "host/chassis/sandbox/sandbox.h"

namespace chassis {

struct SandboxDescriptors {
  int information;  ///< bubblewrap writes the number of a process in the sandbox here
  int users;        ///< a user namespace to use; -1: bubblewrap makes one
  int empty_file;   ///< yields no bytes: the file that the kernel module's device is mounted over
};

std::vector<std::string> sandbox_arguments(const SandboxPlan &plan, const SandboxDescriptors &descriptors);

/// Where the run folder appears inside.
inline constexpr const char *inside_run_folder = "/run/opal";

}  // namespace chassis
