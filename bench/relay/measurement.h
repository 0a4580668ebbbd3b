// Sends one load through one relay and measures what it costs the relay's process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/relay/stream.h"

namespace bench {

struct Sample {
  double relay_ns = 0;  ///< processor time of the relay per frame, in user and kernel mode
  double frames_per_second = 0;
};

/// Runs the load and reads the clocks before and after. Throws Failure for an invalid run.
Sample measure(const Wire &wire, pid_t relay, const Load &load);

/// Cost per frame where the kernel itself relays inside the generator's calls: processor time of the calls
/// that send, in bursts. Receiving the frames is not counted.
double kernel_ns(const Wire &wire, const Load &load);

/// Measures round trips of one frame at a time: sent to one device, received from the other.
/// @return the time of each in nanoseconds, in ascending order
std::vector<double> round_trips(const Wire &wire, std::uint32_t count, std::size_t frame_bytes);

/// Processor time that a process has used, in nanoseconds. Throws Failure.
double cpu_ns(pid_t process);

/// Binds a process, or the calling thread (0), to one processor. Throws Failure.
void pin(pid_t process, int processor);

/// Processors that this process may use.
std::vector<int> processors();

/// A number from /proc/PID/status, such as "VmRSS" in KiB. Throws Failure.
std::uint64_t process_status(pid_t process, const std::string &name);

}  // namespace bench
