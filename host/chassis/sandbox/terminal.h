// The controlling terminal. The command in the sandbox gets it while it runs, as a shell gives it to a job:
// Ctrl-C then goes to the command, not to the chassis.
#pragma once

#include <sys/types.h>
#include <termios.h>

namespace chassis {

/// Whether standard input is a terminal and this process is in its foreground.
bool has_terminal();

/// Makes a process group the foreground group of the terminal.
void give_terminal(pid_t group);

/// Its destructor takes the terminal back and restores the state that the terminal had at construction.
class TerminalKeeper {
 public:
  TerminalKeeper();
  ~TerminalKeeper();
  TerminalKeeper(const TerminalKeeper &) = delete;
  TerminalKeeper &operator=(const TerminalKeeper &) = delete;

 private:
  termios state_{};  // before owned_, whose initialiser fills it
  bool owned_;
};

}  // namespace chassis
