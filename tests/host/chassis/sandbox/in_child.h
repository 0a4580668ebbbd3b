// What a test does in a process of its own, because it changes the process for good.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace chassis::test {

/// Runs `work` in a child. @return whether it returned true there
inline bool in_child(const std::function<bool()> &work) {
  const pid_t child = fork();
  if (child == 0) _exit(work() ? 0 : 1);
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace chassis::test
