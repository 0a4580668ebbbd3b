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
#include "host/system/failure.h"

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

int run_and_wait(const std::vector<std::string> &words, const std::function<void()> &prepare) {
  const pid_t child = fork();
  if (child < 0) throw host::Failure(std::string("no process can be made: ") + std::strerror(errno));
  if (child == 0) {
    if (prepare) prepare();
    become(words);
  }
  running_child = child;
  // Ctrl-C reaches the child by itself; what is sent to this process alone is passed on.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGQUIT, SIG_IGN);
  std::signal(SIGTERM, pass_on);
  std::signal(SIGHUP, pass_on);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int run_at_node(const std::string &chassis, const std::string &node, const std::vector<std::string> &words) {
  if (const auto refusal = enter_sandbox(chassis); !refusal.empty()) throw host::Failure(refusal);
  if (node != "switch" && node != ".")
    if (const auto refusal = enter_net_namespace(node); !refusal.empty()) throw host::Failure(refusal);
  return run_and_wait(words);
}

}  // namespace chassis
