// The real daemon on the chassis's own platform services. The benchmark takes the place of the ASIC and of
// the AMM (the management module). There are twenty ports with link, and SoL (serial over LAN) on each,
// nothing else. The daemon finds what an earlier one stored in the same run folder.
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

  /// Waits until the daemon serves. Throws Failure if it does not come up.
  void wait_until_ready();

  /// Time from the start of the process until its main loop answered. Valid once it is ready.
  double start_ms() const;

  /// Process id of the daemon. Valid once it is ready.
  pid_t pid();

 private:
  using Clock = std::chrono::steady_clock;

  chassis::ControlPlaneHooks hooks();

  asio::io_context loop_;
  chassis::Fabric fabric_;
  chassis::KlmDevice klm_;
  std::promise<std::string> ready_;  ///< "" or the reason of failure
  bool told_ = false;
  Clock::time_point started_, served_;
  chassis::ControlPlane control_plane_;
  std::optional<chassis::Watch> klm_watch_;
  std::thread thread_;
};

}  // namespace bench
