#include "host/chassis/sandbox/terminal.h"

#include <unistd.h>

#include <csignal>

namespace chassis {

bool has_terminal() { return isatty(STDIN_FILENO) == 1 && tcgetpgrp(STDIN_FILENO) == getpgrp(); }

void give_terminal(pid_t group) {
  // A background process that changes the terminal is stopped, unless it blocks this signal.
  sigset_t touched, before;
  sigemptyset(&touched);
  sigaddset(&touched, SIGTTOU);
  pthread_sigmask(SIG_BLOCK, &touched, &before);
  tcsetpgrp(STDIN_FILENO, group);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TerminalKeeper::TerminalKeeper() : owned_(has_terminal() && tcgetattr(STDIN_FILENO, &state_) == 0) {}

TerminalKeeper::~TerminalKeeper() {
  if (!owned_) return;
  give_terminal(getpgrp());
  tcsetattr(STDIN_FILENO, TCSADRAIN, &state_);
}

}  // namespace chassis
