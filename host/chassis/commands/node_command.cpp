#include "host/chassis/commands/node_command.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "host/chassis/net/net_namespace.h"
#include "host/chassis/sandbox/sandbox_entry.h"
#include "host/system/argument_pointers.h"

namespace chassis {
namespace {

[[noreturn]] void become(const std::vector<std::string> &words) {
  const std::vector<char *> arguments = host::argument_pointers(words);
  execvp(arguments[0], arguments.data());
  std::fprintf(stderr, "chassis: %s cannot be run: %s\n", arguments[0], std::strerror(errno));
  _exit(127);
}

pid_t running_child = -1;

void pass_on(int number) {
  if (running_child > 0) kill(running_child, number);
}

}  // namespace

host::Result<int> run_and_wait(const std::vector<std::string> &words, const std::function<void()> &prepare) {
  const pid_t child = fork();
  if (child < 0) return host::errno_failure("a process cannot be started");
  if (child == 0) {
    if (prepare) prepare();
    become(words);
  }
  running_child = child;
  // The child receives Ctrl-C from the terminal itself; signals to this process alone are passed on.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGQUIT, SIG_IGN);
  std::signal(SIGTERM, pass_on);
  std::signal(SIGHUP, pass_on);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

host::Result<int> run_at_node(const std::string &chassis, const std::string &node,
                              const std::vector<std::string> &words) {
  if (host::Result<> entered = enter_sandbox(chassis); !entered) return failed(std::move(entered));
  if (node != "switch" && node != ".") {
    if (host::Result<> entered = enter_net_namespace(node); !entered) return failed(std::move(entered));
  }
  return run_and_wait(words);
}

}  // namespace chassis
