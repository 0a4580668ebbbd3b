// The baseline for the daemon: a loop of the same structure without the daemon's work. It waits in `select`
// for the same three descriptors (a queue, the in-band socket, the management socket), drains each readable
// one into one buffer until it is empty, and writes each frame once. It puts a header of zeros in front of
// frames to the ASIC and removes the header of frames from it, but inspects neither. In discard mode it
// reads all frames and writes only those of the one length by which the generator counts.
//
// It runs in a process of its own, which ends with this object.
#pragma once

#include <sys/types.h>

#include "bench/relay/stream.h"

namespace bench {

class BareRelay {
 public:
  enum class Work { relay, discard };

  /// Opens the sockets and starts the process. It runs after fork() without exec, so it allocates nothing and
  /// keeps the descriptors that were open. Throws Failure.
  BareRelay(const Wire &wire, Work work);
  ~BareRelay();
  BareRelay(const BareRelay &) = delete;
  BareRelay &operator=(const BareRelay &) = delete;

  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

}  // namespace bench
