#include "host/chassis/sandbox/prerequisites.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "host/system/descriptor.h"

namespace chassis {
namespace {

bool in_path(const std::string &program) {
  const char *path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "/usr/bin:/bin" : path);
  for (std::string folder; std::getline(folders, folder, ':');)
    if (access(fmt::format("{}/{}", folder, program).c_str(), X_OK) == 0) return true;
  return false;
}

host::Result<> find_device(const char *file, const char *purpose, const char *module) {
  const host::Descriptor device(open(file, O_RDWR | O_CLOEXEC));
  if (device) return {};
  const int error = errno;
  const std::string advice = error == EACCES || error == EPERM
                                 ? fmt::format("let this user open it, or run this as root")
                                 : fmt::format("load the kernel module: modprobe {}", module);
  return host::failure(host::errno_cause(error), fmt::format("{}, which {}, cannot be opened ({}); {}", file,
                                                             purpose, std::strerror(error), advice));
}

/// Probes in a disposable child process, because an attempt that succeeds cannot be undone.
host::Result<> try_namespaces() {
  const pid_t child = fork();
  if (child == 0) _exit(unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 ? 0 : errno);
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  const int error = child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : errno;
  return host::failure(
      host::errno_cause(error),
      fmt::format(
          "user namespaces, which the sandbox needs, are forbidden here ({}); allow them with the sysctls "
          "user.max_user_namespaces and, where they exist, kernel.unprivileged_userns_clone=1 and "
          "kernel.apparmor_restrict_unprivileged_userns=0",
          std::strerror(error)));
}

}  // namespace

host::Result<> check_prerequisites() {
  if (!in_path("bwrap"))
    return host::failure("bwrap, which makes the sandbox, is not installed; install the package bubblewrap");
  if (!in_path("ip")) {
    return host::failure(
        "ip, which moves network interfaces, is not installed; install the package iproute2");
  }
  return find_device("/dev/net/tun", "makes network devices", "tun")
      .and_then([] { return find_device("/dev/fuse", "serves the kernel module's device", "fuse"); })
      .and_then(try_namespaces);
}

}  // namespace chassis
