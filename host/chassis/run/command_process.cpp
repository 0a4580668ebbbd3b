#include "host/chassis/run/command_process.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/chassis/sandbox/terminal.h"
#include "host/system/argument_pointers.h"

namespace chassis {

namespace {

[[noreturn]] void become(const std::vector<std::string> &words, bool terminal) {
  setpgid(0, 0);
  if (terminal) give_terminal(getpid());
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGCHLD}) signal(number, SIG_DFL);
  const std::vector<char *> arguments = host::argument_pointers(words);
  execvp(arguments[0], arguments.data());
  std::fprintf(stderr, "chassis: %s cannot be run: %s\n", arguments[0], std::strerror(errno));
  _exit(127);
}

}  // namespace

host::Result<std::unique_ptr<CommandProcess>> CommandProcess::start(asio::io_context &loop,
                                                                    const std::vector<std::string> &words,
                                                                    bool terminal, Ended ended) {
  const pid_t process = fork();
  if (process < 0) return host::errno_failure("no process can be made");
  if (process == 0) become(words, terminal);
  return std::unique_ptr<CommandProcess>(
      new CommandProcess(loop, process, terminal, std::move(ended)));  // NOLINT: private constructor
}

CommandProcess::CommandProcess(asio::io_context &loop, pid_t process, bool terminal, Ended ended)
    : terminal_(terminal), ended_(std::move(ended)), process_(process) {
  setpgid(process_, process_);  // here and there: whoever comes first
  process_end_ = host::Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)));
  watch_.emplace(loop, process_end_.get(), [this] { return reap(); });
  if (terminal_) watch_stops(loop);
}

CommandProcess::~CommandProcess() {
  if (process_ > 0) kill(-process_, SIGKILL);
}

/// Nobody could continue a job that was stopped from the terminal, so it is continued at once.
void CommandProcess::watch_stops(asio::io_context &loop) {
  if (!stops_) stops_.emplace(loop, SIGCHLD);
  stops_->async_wait([this, &loop](const asio::error_code &error, int) {
    if (error) return;
    siginfo_t change{};
    const bool stopped =
        waitid(P_PID, static_cast<id_t>(process_), &change, WSTOPPED | WNOHANG) == 0 && change.si_pid != 0;
    if (stopped) {
      give_terminal(process_);
      kill(-process_, SIGCONT);
    }
    watch_stops(loop);
  });
}

ReadResult CommandProcess::reap() {
  int status = 0;
  if (waitpid(process_, &status, WNOHANG) != process_) return ReadResult::nothing;
  stops_.reset();
  ended_(WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status));
  return ReadResult::ended;
}

void CommandProcess::end() {
  kill(-process_, SIGTERM);
  kill(-process_, SIGCONT);
}

}  // namespace chassis
