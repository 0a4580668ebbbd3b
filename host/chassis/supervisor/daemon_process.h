// The daemon as a process: started, watched and killed by its process descriptor. So other children are never
// waited for, and no process number is used after the kernel gave it to another process.
//
// The daemon runs in a process group of its own (a terminal's interrupt does not reach it), without
// arguments, with OPAL_RUN_DIR naming the run-time folder, standard input from /dev/null, standard output
// and error appended to a log file. It inherits no descriptor.
#pragma once

#include <asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/chassis/base/watch.h"
#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

/// How a process ended.
struct ExitStatus {
  bool by_signal = false;
  int number = 0;  ///< exit status, or the signal's number

  friend bool operator==(const ExitStatus &, const ExitStatus &) = default;
};

/// "exited with status 1", "was ended by signal 9 (Killed)".
std::string describe(const ExitStatus &status);

class DaemonProcess {
 public:
  using OnExit = std::function<void(ExitStatus)>;

  /// Starts the program.
  static host::Result<std::unique_ptr<DaemonProcess>> start(asio::io_context &loop,
                                                            const std::filesystem::path &program,
                                                            const std::filesystem::path &run_folder,
                                                            const std::filesystem::path &log);

  /// Kills the process if it still runs, and waits until it has ended.
  ~DaemonProcess();
  DaemonProcess(const DaemonProcess &) = delete;
  DaemonProcess &operator=(const DaemonProcess &) = delete;

  /// `handler` runs once, from the loop, when the process has ended; it may destroy this object.
  void on_exit(OnExit handler);

  void signal(int number);
  pid_t pid() const { return pid_; }

 private:
  DaemonProcess(asio::io_context &loop, pid_t pid, host::Descriptor process);
  std::optional<ExitStatus> collect(int options);

  asio::io_context &loop_;
  pid_t pid_;
  host::Descriptor process_;
  bool collected_ = false;
  std::optional<Watch> watch_;
};

}  // namespace chassis
