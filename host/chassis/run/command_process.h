// The command that runs in the sandbox, as a job of its own process group.
#pragma once

#include <sys/types.h>

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/chassis/base/watch.h"
#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

class CommandProcess {
 public:
  /// @param status the exit status; 128 and the signal's number when a signal ended it
  using Ended = std::function<void(int status)>;

  /// Starts the command; its first word is looked up in PATH. A command that cannot be started ends at once
  /// with status 127 and a line on standard error.
  /// @param terminal the command gets the terminal for itself
  static host::Result<std::unique_ptr<CommandProcess>> start(asio::io_context &loop,
                                                             const std::vector<std::string> &words,
                                                             bool terminal, Ended ended);
  /// Kills what is left of the job.
  ~CommandProcess();
  CommandProcess(const CommandProcess &) = delete;
  CommandProcess &operator=(const CommandProcess &) = delete;

  /// Asks the job to end.
  void end();

 private:
  CommandProcess(asio::io_context &loop, pid_t process, bool terminal, Ended ended);
  void watch_stops(asio::io_context &loop);
  ReadResult reap();

  bool terminal_;
  Ended ended_;
  pid_t process_ = -1;
  host::Descriptor process_end_;
  std::optional<Watch> watch_;
  std::optional<asio::signal_set> stops_;
};

}  // namespace chassis
