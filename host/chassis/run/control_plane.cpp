#include "host/chassis/run/control_plane.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "host/chassis/base/journal.h"
#include "host/chassis/base/run_files.h"
#include "host/chassis/control/control.h"
#include "host/chassis/control/status_report.h"
#include "host/chassis/model/chassis_state.h"
#include "host/chassis/services/announcer.h"
#include "host/chassis/services/broker.h"
#include "host/chassis/services/capreg.h"
#include "host/chassis/services/platform_services.h"
#include "host/chassis/services/vlan_mgr.h"
#include "host/chassis/supervisor/supervisor.h"

namespace chassis {

struct ControlPlane::State {
  State(asio::io_context &loop, const Description &description, Fabric &fabric_used, KlmDevice &klm_used,
        ControlPlanePaths paths_used, ControlPlaneHooks hooks_used);

  SupervisorHooks supervisor_hooks();
  void forget_daemon();
  nlohmann::json status() const;

  Fabric &fabric;
  KlmDevice &klm;
  ControlPlanePaths paths;
  ControlPlaneHooks hooks;
  std::vector<std::string> faults_asked;
  FaultTable faults;
  Journal journal;
  ChassisState state;
  Broker broker;
  Announcer announcer;
  Supervisor supervisor;
  PlatformServices services;
  ControlService control;
  std::vector<Service *> all_services;  ///< in the order of `chassis status`
};

ControlPlane::State::State(asio::io_context &loop, const Description &description, Fabric &fabric_used,
                           KlmDevice &klm_used, ControlPlanePaths paths_used, ControlPlaneHooks hooks_used)
    : fabric(fabric_used),
      klm(klm_used),
      paths(std::move(paths_used)),
      hooks(std::move(hooks_used)),
      faults_asked(description.faults),
      journal(paths.run_folder / chassis_log),
      state(description, fabric, hooks.link_changed),
      broker(loop, faults),
      announcer(state, broker),
      supervisor(loop, faults, journal, {paths.run_folder, paths.daemon}, supervisor_hooks()),
      services({loop, faults, journal, state, fabric, announcer, supervisor.startup_uri()}),
      control(loop, faults,
              {state, announcer, broker, services.get<VlanManager>(), supervisor, faults,
               [this] { return status(); }}),
      all_services{&broker, &supervisor} {
  for (const auto &service : services.all()) all_services.push_back(service.get());
  all_services.push_back(&control);
  broker.on_subscribed(
      [this](std::uint32_t opcode, bus::Address queue) { announcer.send_present_state(opcode, queue); });
}

SupervisorHooks ControlPlane::State::supervisor_hooks() {
  return {.serving = hooks.ready,
          .gone = [this] { forget_daemon(); },
          .handled = [this] { announcer.forget_members_before_down(); },
          .gave_up = hooks.failed};
}

/// Clears what a daemon that ended has left behind, so that the next one finds a fresh platform.
void ControlPlane::State::forget_daemon() {
  fabric.forget_cpu();
  klm.forget();
  for (Service *service : all_services) service->forget_daemon();
  announcer.forget_members_before_down();
}

nlohmann::json ControlPlane::State::status() const {
  nlohmann::json all = report({state, fabric, klm, supervisor, services.get<FeatureRegistry>(),
                               services.get<VlanManager>(), faults, all_services});
  if (hooks.device_status) all["devices"] = hooks.device_status();
  return all;
}

ControlPlane::ControlPlane(asio::io_context &loop, const Description &description, Fabric &fabric,
                           KlmDevice &klm, ControlPlanePaths paths, ControlPlaneHooks hooks)
    : state_(std::make_unique<State>(loop, description, fabric, klm, std::move(paths), std::move(hooks))) {}

ControlPlane::~ControlPlane() = default;

host::Result<> ControlPlane::start() {
  for (const std::string &fault : state_->faults_asked) {
    if (host::Result<> set = state_->faults.set_from_option(fault); !set) return set;
  }
  for (const char *folder : {"bus", "trace"}) {
    std::error_code error;
    std::filesystem::create_directories(state_->paths.run_folder / folder, error);
    if (error) {
      return host::failure(error, fmt::format("cannot make the folder {}: {}",
                                              (state_->paths.run_folder / folder).string(), error.message()));
    }
  }
  for (Service *service : state_->all_services) {
    if (host::Result<> bound = service->endpoint().bind(state_->paths.run_folder); !bound) return bound;
  }
  return state_->supervisor.start();
}

void ControlPlane::stop() { state_->supervisor.stop(); }

nlohmann::json ControlPlane::status() const { return state_->status(); }

}  // namespace chassis
