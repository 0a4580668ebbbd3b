// The lifeline between the process that makes a sandbox and the command that runs in it: a pipe. The inner
// end yields one byte when the sandbox is complete. It reports the end of the file when the command must end,
// also when the outer process is killed.
#pragma once

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

/// The outer end; made before the process is forked that becomes the sandbox.
class Lifeline {
 public:
  static host::Result<Lifeline> make();

  /// In the forked process: lets the inner end pass through exec, its number in the environment's
  /// CHASSIS_LIFELINE.
  void pass_on() const;
  /// In this process: leaves the inner end to the forked one.
  void close_inner_end() { inner_ = host::Descriptor(); }

  void signal_complete();
  void signal_end() { outer_ = host::Descriptor(); }

 private:
  Lifeline(host::Descriptor inner, host::Descriptor outer)
      : inner_(std::move(inner)), outer_(std::move(outer)) {}
  host::Descriptor inner_, outer_;
};

/// In the sandbox: waits until it is complete. Fails when this process was not started in one.
/// @return the inner end, which does not block
host::Result<host::Descriptor> take_lifeline();

}  // namespace chassis
