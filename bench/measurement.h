// One load through one relay: how fast, and at what cost of the relay's process.
#pragma once

#include <sys/types.h>

#include "bench/generator.h"

namespace bench {

struct Sample {
  double frames_per_second = 0;
  double cpu_ns_per_frame = 0;    ///< of the relay's process, in user and kernel mode
  double switches_per_frame = 0;  ///< times that it waited
  std::uint32_t lost = 0;
};

/// Runs the load and reads the clock of the relay's process before and after. Throws chassis::Failure.
Sample measure(const DevicePair &devices, pid_t relay, const Load &load);

/// Keeps a process, or the calling thread (0), on one processor. Throws chassis::Failure.
void pin(pid_t process, int processor);

/// Processors that this process may use.
std::vector<int> processors();

/// A number of /proc/PID/status, as "VmRSS" in KiB. Throws chassis::Failure.
std::uint64_t process_status(pid_t process, const std::string &name);

}  // namespace bench
