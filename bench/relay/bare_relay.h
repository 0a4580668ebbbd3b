// What the daemon is compared with: the daemon's own shape without its work. It waits in `select` for the
// same three descriptors (a queue, the in-band socket, the management socket), drains whichever is readable
// into one buffer until it is empty, and writes each frame once. Frames to the ASIC get a header of zeros in
// front, frames from it lose theirs; nobody looks at them. Where it discards, it reads, and writes only
// frames of the one length by which the generator counts.
//
// It runs in a process of its own, which ends with this object.
#pragma once

#include <sys/types.h>

#include "bench/relay/stream.h"

namespace bench {

class BareRelay {
 public:
  enum class Work { relay, discard };

  /// Opens the sockets and starts the process, which goes on after fork() without exec: it allocates nothing,
  /// and holds the descriptors that were open. Throws Failure.
  BareRelay(const Wire &wire, Work work);
  ~BareRelay();
  BareRelay(const BareRelay &) = delete;
  BareRelay &operator=(const BareRelay &) = delete;

  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

}  // namespace bench
