// The real daemon on the chassis's own platform services, with the benchmark where the ASIC and the AMM
// would be: twenty ports with link, SoL on each, nothing else. What an earlier one stored
// in the same run folder, it finds.
//
// The services run on a thread of their own, which waits while frames are relayed.
#pragma once

#include <sys/types.h>

#include <asio.hpp>
#include <chrono>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <thread>

#include "host/chassis/asic/fabric.h"
#include "host/chassis/base/watch.h"
#include "host/chassis/kernel_module/klm_device.h"
#include "host/chassis/run/control_plane.h"

namespace bench {

class DaemonUnderTest {
 public:
  /// @param run_folder of the sandbox
  DaemonUnderTest(const std::filesystem::path &run_folder, const std::filesystem::path &daemon);
  /// Ends the daemon.
  ~DaemonUnderTest();
  DaemonUnderTest(const DaemonUnderTest &) = delete;
  DaemonUnderTest &operator=(const DaemonUnderTest &) = delete;

  /// Starts the daemon; returns at once. Throws Failure.
  void start();

  /// Waits until it serves. Throws Failure when it does not come up.
  void wait_until_ready();

  /// From the start of its process until its main loop has answered, once it is ready.
  double start_ms() const;

  /// Of the daemon's process, once it is ready.
  pid_t pid();

 private:
  using Clock = std::chrono::steady_clock;

  chassis::ControlPlaneHooks hooks();

  asio::io_context loop_;
  chassis::Fabric fabric_;
  chassis::KlmDevice klm_;
  std::promise<std::string> ready_;  ///< "" or why not
  bool told_ = false;
  Clock::time_point started_, served_;
  chassis::ControlPlane control_plane_;
  std::optional<chassis::Watch> klm_watch_;
  std::thread thread_;
};

}  // namespace bench
