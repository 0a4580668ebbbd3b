// Everything that the daemon finds on its message bus: the platform's services, the supervisor that
// starts and restarts the daemon, and the control address that `chassis status` and `chassis event` use.
//
// A ControlPlane runs on the chassis's one event loop. It owns the state of links, VLAN states, forwarding
// states, port-channels and features; the fabric holds what of it the ASIC needs.
#pragma once

#include <asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "host/chassis/asic/fabric.h"
#include "host/chassis/kernel_module/klm_device.h"
#include "host/chassis/model/description.h"
#include "host/system/failure.h"

namespace chassis {

struct ControlPlanePaths {
  std::filesystem::path run_folder;  ///< holds bus/, trace/, stores/, tesk.log
  std::filesystem::path daemon;      ///< the tesk executable
};

/// What the platform needs from its surroundings.
struct ControlPlaneHooks {
  std::function<void(AsicPort, bool up)> link_changed;  ///< the wire's carrier follows the port's link
  std::function<void()> ready;                    ///< the daemon serves: called at every start, restarts too
  std::function<void(std::string why)> failed;    ///< the daemon did not come up; the platform gave up
  std::function<nlohmann::json()> device_status;  ///< counters of the devices, for `chassis status`
};

class ControlPlane {
 public:
  ControlPlane(asio::io_context &loop, const Description &description, Fabric &fabric, KlmDevice &klm,
               ControlPlanePaths paths, ControlPlaneHooks hooks);
  ~ControlPlane();

  /// Binds every service and starts the daemon.
  [[nodiscard]] host::Result<> start();

  /// Ends the daemon and waits until it is gone.
  void stop();

  /// Ports, VLANs, channels, mirror, supervisor and counters, as `chassis status --json` prints them.
  nlohmann::json status() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace chassis
