#include "host/chassis/supervisor/daemon_process.h"
#include "host/system/argument_pointers.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string_view>
#include <vector>

namespace chassis {

namespace {

using host::Descriptor;

/// The actions and attributes of a spawn, released together.
class SpawnPlan {
 public:
  explicit SpawnPlan(const std::filesystem::path &log) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0644);
    posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    posix_spawnattr_init(&attributes_);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan &) = delete;
  SpawnPlan &operator=(const SpawnPlan &) = delete;

  const posix_spawn_file_actions_t *actions() const { return &actions_; }
  const posix_spawnattr_t *attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

/// This process's environment with another OPAL_RUN_DIR.
std::vector<std::string> environment_with(const std::filesystem::path &run_folder) {
  constexpr std::string_view name = "OPAL_RUN_DIR=";
  std::vector<std::string> environment;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with(name)) environment.emplace_back(*entry);
  }
  environment.push_back(std::string(name) + run_folder.string());
  return environment;
}

}  // namespace

std::string describe(const ExitStatus &status) {
  if (!status.by_signal) return fmt::format("exited with status {}", status.number);
  return fmt::format("was ended by signal {} ({})", status.number, strsignal(status.number));
}

host::Result<std::unique_ptr<DaemonProcess>> DaemonProcess::start(asio::io_context &loop,
                                                                  const std::filesystem::path &program,
                                                                  const std::filesystem::path &run_folder,
                                                                  const std::filesystem::path &log) {
  const SpawnPlan plan(log);
  std::vector<std::string> arguments{program.string()};
  std::vector<std::string> environment = environment_with(run_folder);
  pid_t pid = -1;
  const int error =
      posix_spawn(&pid, program.c_str(), plan.actions(), plan.attributes(),
                  host::argument_pointers(arguments).data(), host::argument_pointers(environment).data());
  if (error != 0) {
    return host::failure(host::errno_cause(error),
                         fmt::format("cannot start {}: {}", program.string(), strerror(error)));
  }
  // Only the parent, this process, may collect the child, so the number is still the child's.
  Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (!process) {
    host::Failed unwatched = host::errno_failure(fmt::format("cannot watch process {}", pid));
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return unwatched;
  }
  return std::unique_ptr<DaemonProcess>(
      new DaemonProcess(loop, pid, std::move(process)));  // NOLINT: private constructor
}

DaemonProcess::DaemonProcess(asio::io_context &loop, pid_t pid, Descriptor process)
    : loop_(loop), pid_(pid), process_(std::move(process)) {}

DaemonProcess::~DaemonProcess() {
  if (!collected_) {
    signal(SIGKILL);
    collect(0);
  }
}

void DaemonProcess::on_exit(OnExit handler) {
  watch_.emplace(loop_, process_.get(), [this, handler = std::move(handler)] {
    if (const auto status = collect(WNOHANG)) handler(*status);
    return ReadResult::ended;
  });
}

void DaemonProcess::signal(int number) {
  if (!collected_) syscall(SYS_pidfd_send_signal, process_.get(), number, nullptr, 0);
}

std::optional<ExitStatus> DaemonProcess::collect(int options) {
  siginfo_t info{};
  int result = 0;
  do {
    // By process number, which stays the child's until it is collected here: waiting by a descriptor that the
    // event loop has made non-blocking returns at once.
    result = waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | options);
  } while (result < 0 && errno == EINTR);
  if (result < 0 || info.si_pid == 0) return std::nullopt;
  collected_ = true;
  return ExitStatus{info.si_code != CLD_EXITED, info.si_status};
}

}  // namespace chassis
