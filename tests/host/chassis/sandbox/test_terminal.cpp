#include "host/chassis/sandbox/terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <csignal>
#include <cstdlib>

#include "host/system/descriptor.h"
#include "tests/host/chassis/sandbox/in_child.h"

namespace chassis {
namespace {

/// Runs `work` in a child that leads a session on a new terminal.
bool on_a_terminal(const std::function<bool()> &work) {
  const host::Descriptor screen(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!screen || grantpt(screen.get()) != 0 || unlockpt(screen.get()) != 0) return false;
  return test::in_child([&] {
    if (setsid() < 0) return false;
    const int keyboard = open(ptsname(screen.get()), O_RDWR);
    return keyboard >= 0 && ioctl(keyboard, TIOCSCTTY, 0) == 0 && dup2(keyboard, STDIN_FILENO) == 0 && work();
  });
}

bool is_raw() {
  termios state{};
  return tcgetattr(STDIN_FILENO, &state) == 0 && (state.c_lflag & ECHO) == 0;
}

void make_raw() {
  termios state{};
  tcgetattr(STDIN_FILENO, &state);
  cfmakeraw(&state);
  tcsetattr(STDIN_FILENO, TCSANOW, &state);
}

TEST(Terminal, IsOnlyThereInTheForegroundOfOne) {
  EXPECT_TRUE(on_a_terminal(has_terminal));
  EXPECT_TRUE(
      on_a_terminal([] { return test::in_child([] { return setpgid(0, 0) == 0 && !has_terminal(); }); }));
  EXPECT_TRUE(
      test::in_child([] { return dup2(open("/dev/null", O_RDONLY), STDIN_FILENO) == 0 && !has_terminal(); }));
}

// The job gives the terminal to itself and leaves it raw, as an editor that is killed.
TEST(Terminal, ComesBackFromAJobInTheStateThatItHad) {
  EXPECT_TRUE(on_a_terminal([] {
    bool taken = false;
    {
      const TerminalKeeper keeper;
      taken = test::in_child([] {
        setpgid(0, 0);
        give_terminal(getpgrp());
        if (!has_terminal()) return false;
        make_raw();
        return is_raw();
      });
      taken = taken && !has_terminal() && is_raw();
    }
    return taken && has_terminal() && !is_raw();
  }));
}

}  // namespace
}  // namespace chassis
