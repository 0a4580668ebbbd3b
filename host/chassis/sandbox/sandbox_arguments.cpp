#include "host/chassis/sandbox/sandbox_arguments.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

#include "tesk/kspace/teskk.h"

namespace chassis {
namespace {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

void add(Arguments &arguments, std::initializer_list<std::string> words) {
  arguments.insert(arguments.end(), words);
}

/// Whether the sandbox has its own version of this folder of the root.
bool is_own(const std::string &name) {
  constexpr std::array<std::string_view, 6> own{"proc", "sys", "dev", "run", "tmp", "opal"};
  return std::find(own.begin(), own.end(), name) != own.end();
}

void add_machine(Arguments &arguments) {
  std::error_code error;
  for (const auto &entry : fs::directory_iterator("/", error)) {
    const std::string path = entry.path().string();
    if (is_own(entry.path().filename())) continue;
    if (entry.is_symlink(error)) {
      add(arguments, {"--symlink", fs::read_symlink(entry.path(), error).string(), path});
    } else {
      add(arguments, {"--ro-bind-try", path, path});
    }
  }
}

void add_own_folders(Arguments &arguments) {
  add(arguments, {"--proc", "/proc", "--ro-bind", "/sys", "/sys", "--tmpfs", "/run"});
  // Shared with the machine: scripts that people run are there, and the checkout may be there too.
  add(arguments, {"--bind", "/tmp", "/tmp"});
  add(arguments, {"--dev", "/dev", "--dev-bind", "/dev/net/tun", "/dev/net/tun", "--dev-bind", "/dev/fuse",
                  "/dev/fuse"});
}

void add_working_folders(Arguments &arguments, const SandboxPlan &plan) {
  add(arguments, {"--ro-bind", plan.programs.string(), plan.programs.string()});
  add(arguments, {"--ro-bind", plan.daemon.string(), plan.daemon.string()});
  const fs::path current = fs::current_path();
  if (current != "/") add(arguments, {"--bind", current.string(), current.string()});
  add(arguments, {"--bind", plan.run_folder.string(), inside_run_folder, "--chdir", current.string()});
}

void add_environment(Arguments &arguments, const SandboxPlan &plan) {
  add(arguments, {"--setenv", "OPAL_RUN_DIR", inside_run_folder, "--setenv", "CHASSIS_NAME", plan.name});
  // The folders that these variables name do not exist in the sandbox, or are not writable.
  for (const char *name : {"TMPDIR", "XDG_RUNTIME_DIR", "CHASSIS_RUN_DIR"})
    add(arguments, {"--unsetenv", name});
}

}  // namespace

std::vector<std::string> sandbox_arguments(const SandboxPlan &plan, const SandboxDescriptors &descriptors) {
  Arguments arguments{"bwrap"};
  add(arguments, {"--unshare-net", "--unshare-pid", "--unshare-ipc", "--unshare-uts", "--hostname", plan.name,
                  "--die-with-parent", "--uid", "0", "--gid", "0", "--cap-add", "ALL"});
  if (descriptors.users < 0) {
    arguments.emplace_back("--unshare-user");
  } else {
    add(arguments, {"--userns", std::to_string(descriptors.users)});
  }
  add_machine(arguments);
  add_own_folders(arguments);
  add(arguments, {"--file", std::to_string(descriptors.empty_file), TESKK_DEVICE});
  add(arguments, {"--ro-bind", (plan.programs / "instteskklm").string(), "/opal/bin/instteskklm"});
  add_working_folders(arguments, plan);
  add_environment(arguments, plan);
  add(arguments, {"--info-fd", std::to_string(descriptors.information), "--"});
  arguments.insert(arguments.end(), plan.command.begin(), plan.command.end());
  return arguments;
}

}  // namespace chassis
