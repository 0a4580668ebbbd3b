// The lifeline between the process that makes a sandbox and the command that runs in it: a pipe. The inner
// end yields one byte when the sandbox is complete. It reports the end of the file when the command must end,
// also when the outer process is killed.
#pragma once

#include "host/system/descriptor.h"

namespace chassis {

/// The outer end; made before the process is forked that becomes the sandbox.
class Lifeline {
 public:
  /// Throws Failure.
  Lifeline();

  /// In the forked process: lets the inner end pass through exec, its number in the environment's
  /// CHASSIS_LIFELINE.
  void pass_on() const;
  /// In this process: leaves the inner end to the forked one.
  void close_inner_end() { inner_ = host::Descriptor(); }

  void signal_complete();
  void signal_end() { outer_ = host::Descriptor(); }

 private:
  host::Descriptor inner_, outer_;
};

/// In the sandbox: waits until it is complete. Throws Failure when this process was not started in one.
/// @return the inner end, which does not block
host::Descriptor take_lifeline();

}  // namespace chassis
