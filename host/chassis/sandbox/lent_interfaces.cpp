#include "host/chassis/sandbox/lent_interfaces.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <net/if.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace chassis {
namespace {

host::Descriptor open_network(pid_t process) {
  return host::Descriptor(open(fmt::format("/proc/{}/ns/net", process).c_str(), O_RDONLY | O_CLOEXEC));
}

/// Moves an interface from the network `from` to the network of a process. @return whether that worked
bool give_interface(const std::string &interface, const host::Descriptor &from, pid_t to) {
  const std::string process = std::to_string(to);
  const pid_t child = fork();
  if (child == 0) {
    if (setns(from.get(), CLONE_NEWNET) == 0)
      execlp("ip", "ip", "link", "set", "dev", interface.c_str(), "netns", process.c_str(), nullptr);
    _exit(127);
  }
  int status = -1;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return child > 0 && status == 0;
}

}  // namespace

host::Result<> check_lendable(const std::vector<std::string> &interfaces) {
  for (const auto &interface : interfaces) {
    if (if_nametoindex(interface.c_str()) == 0) {
      return host::failure(fmt::format(
          "interface {}, to which a port is attached, does not exist on this machine; see: ip link",
          interface));
    }
    if (geteuid() != 0) {
      return host::failure(fmt::format(
          "attaching a port to {} moves it into the sandbox, which only root may do; run this as root",
          interface));
    }
  }
  return {};
}

host::Result<LentInterfaces> LentInterfaces::lend(const std::vector<std::string> &interfaces, pid_t process) {
  LentInterfaces lent(open_network(process));
  const auto here = open_network(getpid());
  for (const auto &interface : interfaces) {
    if (!give_interface(interface, here, process))
      return host::failure(fmt::format("interface {} cannot be moved into the sandbox", interface));
    lent.interfaces_.push_back(interface);
  }
  return lent;
}

LentInterfaces::~LentInterfaces() {
  for (const auto &interface : interfaces_) give_interface(interface, network_, getpid());
}

}  // namespace chassis
