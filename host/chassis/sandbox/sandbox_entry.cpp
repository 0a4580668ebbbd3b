#include "host/chassis/sandbox/sandbox_entry.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "host/chassis/sandbox/run_folder.h"
#include "host/chassis/sandbox/sandbox_arguments.h"
#include "host/system/descriptor.h"

namespace chassis {
namespace {

/// Whether this process is already in a sandbox; a failure when it is in the sandbox of another chassis.
host::Result<bool> is_inside(const std::string &name) {
  const char *own = std::getenv("CHASSIS_NAME");
  if (own == nullptr || std::getenv("OPAL_RUN_DIR") == nullptr) return false;
  if (!name.empty() && name != own) {
    return host::failure(
        fmt::format("this command runs inside the chassis '{}' and cannot reach '{}'", own, name));
  }
  return true;
}

/// A process of the chosen chassis. Puts the name of the chassis into the environment.
host::Result<pid_t> process_of(const std::string &name) {
  host::Result<std::string> chosen = choose_chassis(name);
  if (!chosen) return failed(std::move(chosen));
  const auto found = sandbox_process(*chosen);
  if (!found) return host::failure(fmt::format("the chassis '{}' is still starting; try again", *chosen));
  setenv("CHASSIS_NAME", chosen->c_str(), 1);
  return *found;
}

host::Result<> enter(pid_t process, const char *kind, int type) {
  const std::string file = fmt::format("/proc/{}/ns/{}", process, kind);
  const host::Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!descriptor || setns(descriptor.get(), type) != 0)
    return host::errno_failure(fmt::format("the chassis's {} namespace cannot be entered", kind));
  return {};
}

host::Result<> enter_namespaces(pid_t process) {
  struct Kind {
    const char *name;
    int type;
  };
  // The user namespace comes first: it gives the right to enter the others. The mount namespace comes last,
  // because /proc is not available in it; the process namespace comes before it for the same reason.
  constexpr Kind kinds[] = {{"user", CLONE_NEWUSER}, {"net", CLONE_NEWNET}, {"ipc", CLONE_NEWIPC},
                            {"uts", CLONE_NEWUTS},   {"pid", CLONE_NEWPID}, {"mnt", CLONE_NEWNS}};
  for (const Kind &kind : kinds)
    if (host::Result<> entered = enter(process, kind.name, kind.type); !entered) return entered;
  return {};
}

}  // namespace

host::Result<> enter_sandbox(const std::string &name) {
  host::Result<bool> inside = is_inside(name);
  if (!inside) return failed(std::move(inside));
  if (*inside) return {};
  host::Result<pid_t> process = process_of(name);
  if (!process) return failed(std::move(process));
  std::error_code ignored;
  const auto current = std::filesystem::current_path(ignored);
  if (host::Result<> entered = enter_namespaces(*process); !entered) return entered;
  if (chdir(current.c_str()) != 0 && chdir("/") != 0)
    return host::failure("the sandbox has no working folder");
  setenv("OPAL_RUN_DIR", inside_run_folder, 1);
  return {};
}

}  // namespace chassis
