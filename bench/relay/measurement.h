// One load through one relay: at what cost of the relay's process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/relay/stream.h"

namespace bench {

struct Sample {
  double relay_ns = 0;  ///< processor time of the relay a frame, in user and kernel mode
  double frames_per_second = 0;
};

/// Runs the load and reads the clocks before and after. Throws Failure for an invalid run.
Sample measure(const Wire &wire, pid_t relay, const Load &load);

/// What the kernel itself costs where it relays inside the generator's calls: processor time of the calls
/// that send, in bursts, a frame. Taking the frames back is not counted.
double kernel_ns(const Wire &wire, const Load &load);

/// Round trips of one frame at a time: out by one device, back by the other.
/// @return how long each took, in nanoseconds, in ascending order
std::vector<double> round_trips(const Wire &wire, std::uint32_t count, std::size_t frame_bytes);

/// Processor time that a process has used, in nanoseconds. Throws Failure.
double cpu_ns(pid_t process);

/// Keeps a process, or the calling thread (0), on one processor. Throws Failure.
void pin(pid_t process, int processor);

/// Processors that this process may use.
std::vector<int> processors();

/// A number of /proc/PID/status, as "VmRSS" in KiB. Throws Failure.
std::uint64_t process_status(pid_t process, const std::string &name);

}  // namespace bench
