// What the daemon is compared with: the same two packet sockets, `select`, `read` and `write`, and nothing
// else. Frames to the ASIC get a constant header in front, frames from it lose theirs; nobody looks at them.
//
// It runs in a process of its own, which ends with this object.
#pragma once

#include <sys/types.h>

#include "bench/device_pair.h"

namespace bench {

class BareRelay {
 public:
  /// Opens the sockets and starts the process. Throws chassis::Failure. Must be called before any thread
  /// is started, because the process goes on after fork() without exec.
  explicit BareRelay(const DevicePair &devices);
  ~BareRelay();
  BareRelay(const BareRelay &) = delete;
  BareRelay &operator=(const BareRelay &) = delete;

  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

}  // namespace bench
