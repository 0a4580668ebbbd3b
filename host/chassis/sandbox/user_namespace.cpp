#include "host/chassis/sandbox/user_namespace.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <string>

namespace chassis {
namespace {

using host::Descriptor;

/// Maps every user or group of this namespace to itself. @param file "uid_map" or "gid_map"
bool map_all(pid_t process, const char *file) {
  std::ifstream own(fmt::format("/proc/self/{}", file));
  std::string map;
  for (std::uint64_t inside = 0, outside = 0, count = 0; own >> inside >> outside >> count;)
    map += fmt::format("{} {} {}\n", inside, inside, count);
  const Descriptor target(open(fmt::format("/proc/{}/{}", process, file).c_str(), O_WRONLY | O_CLOEXEC));
  return target && write(target.get(), map.data(), map.size()) == static_cast<ssize_t>(map.size());
}

/// Starts a child that stays in a user namespace of its own until `hold` closes.
pid_t start_holder(const std::array<int, 2> &ready, const std::array<int, 2> &hold) {
  const pid_t child = fork();
  if (child != 0) return child;
  close(hold[1]);
  char byte = 0;
  if (unshare(CLONE_NEWUSER) == 0 && write(ready[1], "+", 1) == 1) (void)!read(hold[0], &byte, 1);
  _exit(0);
}

Descriptor mapped_namespace(pid_t holder) {
  if (!map_all(holder, "uid_map") || !map_all(holder, "gid_map")) return {};
  return Descriptor(open(fmt::format("/proc/{}/ns/user", holder).c_str(), O_RDONLY | O_CLOEXEC));
}

}  // namespace

Descriptor make_full_user_namespace() {
  if (geteuid() != 0) return {};
  std::array<int, 2> ready{}, hold{};
  if (pipe2(ready.data(), O_CLOEXEC) != 0) return {};
  const Descriptor ready_end(ready[0]);
  Descriptor ready_start(ready[1]);
  if (pipe2(hold.data(), O_CLOEXEC) != 0) return {};
  const Descriptor hold_end(hold[0]);
  Descriptor hold_start(hold[1]);
  const pid_t holder = start_holder(ready, hold);
  ready_start = Descriptor();
  char byte = 0;
  Descriptor made;
  if (holder > 0 && read(ready[0], &byte, 1) == 1) made = mapped_namespace(holder);
  hold_start = Descriptor();
  while (holder > 0 && waitpid(holder, nullptr, 0) < 0 && errno == EINTR) {
  }
  return made;
}

}  // namespace chassis
