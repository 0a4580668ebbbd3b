#include "host/chassis/run/platform.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "host/chassis/base/journal.h"
#include "host/chassis/base/run_files.h"
#include "host/chassis/control/control.h"
#include "host/chassis/control/status_report.h"
#include "host/chassis/model/chassis_state.h"
#include "host/chassis/services/announcer.h"
#include "host/chassis/services/board.h"
#include "host/chassis/services/broker.h"
#include "host/chassis/services/capreg.h"
#include "host/chassis/services/chanagg.h"
#include "host/chassis/services/cush_registry.h"
#include "host/chassis/services/kinb.h"
#include "host/chassis/services/ltlsvc.h"
#include "host/chassis/services/portsvc.h"
#include "host/chassis/services/rcgen.h"
#include "host/chassis/services/vlan_mgr.h"
#include "host/chassis/supervisor/supervisor.h"

namespace chassis {

struct Platform::State {
  State(asio::io_context &loop, const Description &description, Fabric &fabric_used, KlmDevice &klm_used,
        PlatformPaths paths_used, PlatformHooks hooks_used);

  SupervisorHooks supervisor_hooks();
  void forget_daemon();
  nlohmann::json status() const;

  Fabric &fabric;
  KlmDevice &klm;
  PlatformPaths paths;
  PlatformHooks hooks;
  std::vector<std::string> faults_asked;
  FaultTable faults;
  Journal journal;
  ChassisState state;
  Broker broker;
  Announcer announcer;
  Supervisor supervisor;
  BoardService board;
  InterfaceManager interfaces;
  PortIndexService port_index;
  ChannelService channels;
  InbandDriver inband;
  FeatureRegistry features;
  VlanManager vlan_manager;
  CushRegistry cush;
  ConfigGenerator generator;
  ControlService control;
  std::vector<Endpoint *> endpoints;
};

Platform::State::State(asio::io_context &loop, const Description &description, Fabric &fabric_used,
                       KlmDevice &klm_used, PlatformPaths paths_used, PlatformHooks hooks_used)
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
      board(loop, faults, description.board),
      interfaces(loop, faults, state),
      port_index(loop, faults, state, fabric, journal),
      channels(loop, faults, state, announcer),
      inband(loop, faults, fabric, journal),
      features(loop, faults),
      vlan_manager(loop, faults, description),
      cush(loop, faults),
      generator(loop, faults, supervisor.startup_uri()),
      control(loop, faults,
              {state, announcer, broker, vlan_manager, supervisor, faults, [this] { return status(); }}),
      endpoints{&broker.endpoint(),     &supervisor.endpoint(), &board.endpoint(),
                &interfaces.endpoint(), &port_index.endpoint(), &channels.endpoint(),
                &inband.endpoint(),     &features.endpoint(),   &vlan_manager.endpoint(),
                &cush.endpoint(),       &generator.endpoint(),  &control.endpoint()} {
  broker.on_subscribed(
      [this](std::uint32_t opcode, bus::Address queue) { announcer.tell_subscriber(opcode, queue); });
}

SupervisorHooks Platform::State::supervisor_hooks() {
  return {.serving = hooks.ready,
          .gone = [this] { forget_daemon(); },
          .handled = [this] { announcer.forget_members_before_down(); },
          .gave_up = hooks.failed};
}

/// Clears what a daemon that ended has left behind, so that the next one finds a fresh platform.
void Platform::State::forget_daemon() {
  fabric.forget_cpu();
  klm.forget();
  broker.forget(bus::address::tesk);
  cush.forget(bus::address::tesk);
  generator.forget(bus::address::tesk);
  generator.endpoint().give_up_waiting();
  control.endpoint().give_up_waiting();
  features.forget();
  vlan_manager.forget_cin();
  announcer.forget_members_before_down();
}

nlohmann::json Platform::State::status() const {
  nlohmann::json all = report({state, fabric, klm, supervisor, features, vlan_manager, faults, endpoints});
  if (hooks.device_status) all["devices"] = hooks.device_status();
  return all;
}

Platform::Platform(asio::io_context &loop, const Description &description, Fabric &fabric, KlmDevice &klm,
                   PlatformPaths paths, PlatformHooks hooks)
    : state_(std::make_unique<State>(loop, description, fabric, klm, std::move(paths), std::move(hooks))) {}

Platform::~Platform() = default;

std::string Platform::start() {
  for (const std::string &fault : state_->faults_asked) {
    if (std::string why = state_->faults.set_from_option(fault); !why.empty()) return why;
  }
  for (const char *folder : {"bus", "trace"}) {
    std::error_code error;
    std::filesystem::create_directories(state_->paths.run_folder / folder, error);
    if (error) {
      return fmt::format("cannot make the folder {}: {}", (state_->paths.run_folder / folder).string(),
                         error.message());
    }
  }
  for (Endpoint *endpoint : state_->endpoints) {
    if (std::string why = endpoint->bind(state_->paths.run_folder); !why.empty()) return why;
  }
  return state_->supervisor.start();
}

void Platform::stop() { state_->supervisor.stop(); }

nlohmann::json Platform::status() const { return state_->status(); }

}  // namespace chassis
