#include "bench/relay/measurement.h"

#include <fmt/core.h>
#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>

#include "bench/relay/failure.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds lost_after{2};

double clock_ns(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// Sends one frame through the relay. The generator polls without sleeping, so that its own wake-up is not
/// part of the time.
void carry_one(Stream &stream) {
  const auto deadline = Clock::now() + lost_after;
  if (!stream.send_one()) {
    throw Failure("invalid run: the device took no frame");
  }
  while (!stream.take_one()) {
    if (Clock::now() > deadline) {
      throw Failure("invalid run: a frame was lost");
    }
  }
}

}  // namespace

double cpu_ns(pid_t process) {
  clockid_t clock{};
  if (clock_getcpuclockid(process, &clock) != 0) {
    throw Failure(fmt::format("process {} has no processor clock; it has ended", process));
  }
  return clock_ns(clock);
}

Sample measure(const Wire &wire, pid_t relay, const Load &load) {
  const double before = cpu_ns(relay);
  const std::chrono::duration<double> elapsed = run_load(wire, load);
  return {(cpu_ns(relay) - before) / load.frames, load.frames / elapsed.count()};
}

double kernel_ns(const Wire &wire, const Load &load) {
  Stream stream(wire, load);
  double used = 0;
  while (!stream.done()) {
    const double before = clock_ns(CLOCK_THREAD_CPUTIME_ID);
    while (stream.sent() < load.frames && stream.sent() - stream.taken() < load.window && stream.send_one()) {
    }
    used += clock_ns(CLOCK_THREAD_CPUTIME_ID) - before;
    while (stream.taken() < stream.sent()) {
      if (!stream.take_one()) {
        throw Failure("invalid run: a frame was lost");
      }
    }
  }
  return used / load.frames;
}

std::vector<double> round_trips(const Wire &wire, std::uint32_t count, std::size_t frame_bytes) {
  Stream there(wire, {.direction = Direction::to_asic, .frame_bytes = frame_bytes, .frames = count});
  Stream back(wire, {.direction = Direction::to_host, .frame_bytes = frame_bytes, .frames = count});
  std::vector<double> times(count);
  for (double &time : times) {
    const auto start = Clock::now();
    carry_one(there);
    carry_one(back);
    time = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
  }
  std::sort(times.begin(), times.end());
  return times;
}

void pin(pid_t process, int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<std::size_t>(processor), &set);
  if (sched_setaffinity(process, sizeof set, &set) != 0) {
    throw Failure(fmt::format("process {} cannot be kept on processor {}: {}", process, processor,
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
  throw Failure(fmt::format("process {} has no {}; it has ended", process, name));
}

}  // namespace bench
