#include "host/chassis/sandbox/sandbox_entry.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "host/chassis/sandbox/run_folder.h"
#include "host/chassis/sandbox/sandbox_arguments.h"
#include "host/system/descriptor.h"

namespace chassis {
namespace {

/// Whether this process is in a sandbox already; `refusal` says so when another one is meant.
bool is_inside(const std::string &name, std::string &refusal) {
  const char *own = std::getenv("CHASSIS_NAME");
  if (own == nullptr || std::getenv("OPAL_RUN_DIR") == nullptr) return false;
  if (!name.empty() && name != own)
    refusal = fmt::format("this is inside the chassis '{}', from where '{}' cannot be seen", own, name);
  return true;
}

std::string process_of(const std::string &name, pid_t &process) {
  std::string chosen;
  if (auto refusal = choose_chassis(name, chosen); !refusal.empty()) return refusal;
  const auto found = sandbox_process(chosen);
  if (!found) return fmt::format("the chassis '{}' is still starting; try again", chosen);
  process = *found;
  setenv("CHASSIS_NAME", chosen.c_str(), 1);
  return "";
}

std::string enter(pid_t process, const char *kind, int type) {
  const std::string file = fmt::format("/proc/{}/ns/{}", process, kind);
  const host::Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!descriptor || setns(descriptor.get(), type) != 0)
    return fmt::format("the chassis's {} namespace cannot be entered: {}", kind, std::strerror(errno));
  return "";
}

std::string enter_namespaces(pid_t process) {
  struct Kind {
    const char *name;
    int type;
  };
  // The user namespace comes first: it gives the right to enter the others. The files come last, because
  // they take /proc away; processes before them for the same reason.
  constexpr Kind kinds[] = {{"user", CLONE_NEWUSER}, {"net", CLONE_NEWNET}, {"ipc", CLONE_NEWIPC},
                            {"uts", CLONE_NEWUTS},   {"pid", CLONE_NEWPID}, {"mnt", CLONE_NEWNS}};
  for (const Kind &kind : kinds)
    if (auto refusal = enter(process, kind.name, kind.type); !refusal.empty()) return refusal;
  return "";
}

}  // namespace

std::string enter_sandbox(const std::string &name) {
  std::string refusal;
  if (is_inside(name, refusal)) return refusal;
  pid_t process = 0;
  if (refusal = process_of(name, process); !refusal.empty()) return refusal;
  std::error_code ignored;
  const auto current = std::filesystem::current_path(ignored);
  if (refusal = enter_namespaces(process); !refusal.empty()) return refusal;
  if (chdir(current.c_str()) != 0 && chdir("/") != 0) return "the sandbox has no folder to work in";
  setenv("OPAL_RUN_DIR", inside_run_folder, 1);
  return "";
}

}  // namespace chassis
