#include "host/chassis/sandbox/lifeline.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "tests/host/system/results.h"

namespace chassis {
namespace {

/// The command in the sandbox: it waits for the end that the outer process signals.
int lead(Lifeline &lifeline) {
  lifeline.pass_on();
  lifeline.signal_end();  // this process's copy of the outer end
  const auto inner = take_lifeline();
  if (!inner || std::getenv("CHASSIS_LIFELINE") != nullptr) return 1;
  char byte = 0;
  if (read(inner->get(), &byte, 1) != -1 || errno != EAGAIN) return 2;
  pollfd waiting{inner->get(), POLLIN, 0};
  if (kill(getppid(), SIGUSR1) != 0 || poll(&waiting, 1, 5000) != 1) return 3;
  return read(inner->get(), &byte, 1) == 0 ? 0 : 4;
}

TEST(LifelineTest, TellsTheInnerEndWhenTheSandboxIsCompleteAndWhenItEnds) {
  sigset_t ready;
  sigemptyset(&ready);
  sigaddset(&ready, SIGUSR1);
  sigprocmask(SIG_BLOCK, &ready, nullptr);
  Lifeline lifeline = Lifeline::make().value();
  const pid_t child = fork();
  if (child == 0) _exit(lead(lifeline));
  lifeline.close_inner_end();
  lifeline.signal_complete();
  const timespec limit{5, 0};
  EXPECT_EQ(sigtimedwait(&ready, nullptr, &limit), SIGUSR1);
  lifeline.signal_end();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "exit status " << WEXITSTATUS(status);
  sigprocmask(SIG_UNBLOCK, &ready, nullptr);
}

TEST(LifelineTest, IsMissedOutsideASandbox) {
  EXPECT_EQ(host::test::sentence_of(take_lifeline()), "only `chassis run` may start this command");
}

}  // namespace
}  // namespace chassis
