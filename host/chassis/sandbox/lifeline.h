// The lifeline is a pipe between the process that makes a sandbox and the command that runs in it. The inner
// end yields one byte when the sandbox is complete. It reports the end of the file when the command must end,
// even if the outer process is killed.
#pragma once

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

/// The outer end. Make it before you fork the process that becomes the sandbox.
class Lifeline {
 public:
  static host::Result<Lifeline> make();

  /// In the forked process: keeps the inner end open across exec, and puts its number into the environment
  /// variable CHASSIS_LIFELINE.
  void pass_on() const;
  /// In this process: closes the inner end, which the forked process uses.
  void close_inner_end() { inner_ = host::Descriptor(); }

  void signal_complete();
  void signal_end() { outer_ = host::Descriptor(); }

 private:
  Lifeline(host::Descriptor inner, host::Descriptor outer)
      : inner_(std::move(inner)), outer_(std::move(outer)) {}
  host::Descriptor inner_, outer_;
};

/// In the sandbox: waits until the sandbox is complete. Fails if this process was not started in a sandbox.
/// @return the inner end, which does not block
host::Result<host::Descriptor> take_lifeline();

}  // namespace chassis
