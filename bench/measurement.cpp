#include "bench/measurement.h"

#include <fmt/core.h>
#include <sched.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>

#include "host/chassis/failure.h"

namespace bench {
namespace {

double cpu_ns(pid_t process) {
  clockid_t clock{};
  timespec time{};
  if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
    throw chassis::Failure(fmt::format("process {} has no processor clock; it has ended", process));
  }
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

}  // namespace

Sample measure(const DevicePair &devices, pid_t relay, const Load &load) {
  const std::uint64_t switches = process_status(relay, "voluntary_ctxt_switches");
  const double cpu = cpu_ns(relay);
  const Carried carried = run_load(devices, load);
  const double used = cpu_ns(relay) - cpu;
  const std::uint64_t switched = process_status(relay, "voluntary_ctxt_switches") - switches;
  if (carried.frames == 0) {
    throw chassis::Failure("the relay carried none of the frames");
  }
  const auto frames = static_cast<double>(carried.frames);
  const double seconds = std::chrono::duration<double>(carried.elapsed).count();
  return {frames / seconds, used / frames, static_cast<double>(switched) / frames, carried.lost};
}

void pin(pid_t process, int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<std::size_t>(processor), &set);
  if (sched_setaffinity(process, sizeof set, &set) != 0) {
    throw chassis::Failure(fmt::format("process {} cannot be kept on processor {}: {}", process, processor,
                                       std::strerror(errno)));
  }
}

std::vector<int> processors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  sched_getaffinity(0, sizeof set, &set);
  std::vector<int> usable;
  for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
    if (CPU_ISSET(static_cast<std::size_t>(processor), &set)) {
      usable.push_back(processor);
    }
  }
  return usable;
}

std::uint64_t process_status(pid_t process, const std::string &name) {
  std::ifstream status(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) {
      return std::stoull(line.substr(name.size() + 1));
    }
  }
  throw chassis::Failure(fmt::format("process {} has no {}; it has ended", process, name));
}

}  // namespace bench
