#include "host/chassis/sandbox/sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/pidfd.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/chassis/sandbox/lent_interfaces.h"
#include "host/chassis/sandbox/lifeline.h"
#include "host/chassis/sandbox/run_folder.h"
#include "host/chassis/sandbox/sandbox_arguments.h"
#include "host/chassis/sandbox/terminal.h"
#include "host/chassis/sandbox/user_namespace.h"
#include "host/system/argument_pointers.h"

namespace chassis {
namespace {

using host::Descriptor;

constexpr int take_down_limit_ms = 15000;

struct Pipe {
  Descriptor read_end, write_end;
};

/// Both ends close on exec.
host::Result<Pipe> make_pipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return host::errno_failure("a pipe cannot be made");
  return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

void keep_on_exec(const Descriptor &descriptor) { fcntl(descriptor.get(), F_SETFD, 0); }

/// While an object exists, the signals that end the chassis are read from a descriptor. It is false when there
/// is no descriptor.
class SignalWatch {
 public:
  SignalWatch() {
    sigemptyset(&mask_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&mask_, number);
    sigprocmask(SIG_BLOCK, &mask_, &before_);
    descriptor_ = Descriptor(signalfd(-1, &mask_, SFD_CLOEXEC | SFD_NONBLOCK));
  }
  ~SignalWatch() { restore(); }
  SignalWatch(const SignalWatch &) = delete;
  SignalWatch &operator=(const SignalWatch &) = delete;

  void restore() const { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  int descriptor() const { return descriptor_.get(); }
  explicit operator bool() const { return static_cast<bool>(descriptor_); }

  /// The signal that came; 0 for none.
  int take() const {
    signalfd_siginfo information{};
    const ssize_t length = read(descriptor_.get(), &information, sizeof information);
    return length == sizeof information ? static_cast<int>(information.ssi_signo) : 0;
  }

 private:
  sigset_t mask_{}, before_{};
  Descriptor descriptor_;
};

/// bubblewrap as a child process. Besides the standard descriptors it inherits only those that are opened for
/// it in the child.
class SandboxProcess {
 public:
  static host::Result<std::unique_ptr<SandboxProcess>> start(const SandboxPlan &plan,
                                                             const SignalWatch &signals) {
    host::Result<Lifeline> lifeline = Lifeline::make();
    if (!lifeline) return failed(std::move(lifeline));
    host::Result<Pipe> information = make_pipe();
    if (!information) return failed(std::move(information));
    std::unique_ptr<SandboxProcess> sandbox(
        new SandboxProcess(std::move(*lifeline), std::move(*information)));  // NOLINT: private constructor
    if (host::Result<> forked = sandbox->start_child(plan, signals); !forked)
      return failed(std::move(forked));
    return sandbox;
  }
  ~SandboxProcess() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    wait();
  }
  SandboxProcess(const SandboxProcess &) = delete;
  SandboxProcess &operator=(const SandboxProcess &) = delete;

  /// A process in the sandbox, as bubblewrap reports it; nothing when the sandbox could not be made.
  std::optional<pid_t> inner_process() {
    std::string text;
    std::array<char, 256> part{};
    for (ssize_t length = 0; (length = read(information_.read_end.get(), part.data(), part.size())) > 0;)
      text.append(part.data(), static_cast<std::size_t>(length));
    const auto told = nlohmann::json::parse(text, nullptr, false);
    if (!told.is_object() || !told.contains("child-pid") || !told["child-pid"].is_number_integer())
      return std::nullopt;
    return told["child-pid"].get<pid_t>();
  }

  Lifeline &lifeline() { return lifeline_; }

  /// Waits until the process ends or a signal arrives. @return whether the process has ended
  bool wait_for_end(const SignalWatch *signals, int limit_ms) const {
    std::array<pollfd, 2> waiting{pollfd{ended_.get(), POLLIN, 0},
                                  pollfd{signals != nullptr ? signals->descriptor() : -1, POLLIN, 0}};
    while (poll(waiting.data(), waiting.size(), limit_ms) < 0 && errno == EINTR) {
    }
    return waiting[0].revents != 0;
  }

  /// Waits for the end. @return the exit status, as a shell reports it
  int wait() {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  SandboxProcess(Lifeline lifeline, Pipe information)
      : lifeline_(std::move(lifeline)), information_(std::move(information)) {}

  host::Result<> start_child(const SandboxPlan &plan, const SignalWatch &signals) {
    const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const Descriptor users = make_full_user_namespace();
    const auto arguments =
        sandbox_arguments(plan, {information_.write_end.get(), users.get(), nothing.get()});
    process_ = fork();
    if (process_ < 0) return host::errno_failure("a process cannot be started");
    if (process_ == 0) become(arguments, {&nothing, &users}, signals);
    ended_ = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)));
    lifeline_.close_inner_end();
    information_.write_end = Descriptor();
    return {};
  }

  [[noreturn]] void become(const std::vector<std::string> &arguments,
                           std::initializer_list<const Descriptor *> inherited,
                           const SignalWatch &signals) const {
    signals.restore();
    setpgid(0, 0);  // Ctrl-C goes only to the process that started the sandbox, which then ends it in order
    for (const auto *kept : inherited)
      if (*kept) keep_on_exec(*kept);
    keep_on_exec(information_.write_end);
    lifeline_.pass_on();
    const std::vector<char *> words = host::argument_pointers(arguments);
    execvp(words[0], words.data());
    _exit(127);
  }

  Lifeline lifeline_;
  Pipe information_;
  pid_t process_ = -1;
  Descriptor ended_;  ///< readable when the process has ended
};

int supervise(SandboxProcess &sandbox, const SignalWatch &signals) {
  if (sandbox.wait_for_end(&signals, -1)) return sandbox.wait();
  const int signal = signals.take();
  sandbox.lifeline().signal_end();
  // A process that does not end by itself is killed with its sandbox.
  if (sandbox.wait_for_end(nullptr, take_down_limit_ms)) sandbox.wait();
  return 128 + signal;
}

}  // namespace

host::Result<int> run_sandboxed(const SandboxPlan &plan) {
  const SignalWatch signals;
  if (!signals) return host::errno_failure("signals cannot be watched");
  const TerminalKeeper terminal;
  std::optional<LentInterfaces> lent;  // outlives the sandbox, so that lent interfaces come back
  host::Result<std::unique_ptr<SandboxProcess>> started = SandboxProcess::start(plan, signals);
  if (!started) return failed(std::move(started));
  SandboxProcess &sandbox = **started;
  const auto inner = sandbox.inner_process();
  if (!inner) return host::failure("bwrap could not make the sandbox; its own message is above");
  host::Result<LentInterfaces> lending = LentInterfaces::lend(plan.interfaces, *inner);
  if (!lending) return failed(std::move(lending));
  lent.emplace(std::move(*lending));
  record_sandbox_process(plan.run_folder, *inner);
  sandbox.lifeline().signal_complete();
  return supervise(sandbox, signals);
}

}  // namespace chassis
