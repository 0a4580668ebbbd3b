// The controlling terminal, which the command in the sandbox gets for itself while it runs, as a shell gives
// it to a job: Ctrl-C is then the command's, not the chassis's.
#pragma once

#include <sys/types.h>
#include <termios.h>

namespace chassis {

/// Whether standard input is a terminal and this process is in its foreground.
bool has_terminal();

/// Makes a process group the terminal's foreground.
void give_terminal(pid_t group);

/// Takes the terminal back when it goes, in the state that it had when this was made.
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
