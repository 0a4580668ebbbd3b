// The control address: handles the requests of `chassis status` and `chassis event`.
//
// A request is a JSON object with a "verb" and the verb's arguments (the table in control.cpp). The answer
// is {"version":1,"ok":true,…} or {"version":1,"ok":false,"error":"one sentence"}. If an event makes the
// services send notices to the daemon, it is answered when the daemon has handled them, or when the chassis
// has given up waiting for that. So the client can look at the result at once. A wrong request changes
// nothing.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "host/chassis/endpoint/service.h"
#include "host/chassis/model/chassis_state.h"
#include "host/chassis/services/announcer.h"
#include "host/chassis/services/vlan_mgr.h"
#include "host/chassis/supervisor/supervisor.h"

namespace chassis {

/// The parts of the chassis that events change.
struct ControlParts {
  ChassisState &state;
  Announcer &announcer;
  Broker &broker;
  VlanManager &vlan_manager;
  Supervisor &supervisor;
  FaultTable &faults;
  std::function<nlohmann::json()> status;
};

class ControlService : public Service {
 public:
  /// Receives the members of the answer except "version" and "ok"; "ok" is true if there is no "error".
  using OnAnswer = std::function<void(nlohmann::json)>;

  ControlService(asio::io_context &loop, const FaultTable &faults, ControlParts parts);

  /// Answers the requests that wait for the daemon, because it has ended.
  void forget_daemon() override { endpoint_.give_up_waiting(); }

 private:
  class Arguments;
  using Verb = void (ControlService::*)(const Arguments &, const OnAnswer &);
  struct VerbRow {
    std::string_view name;
    Verb verb;
  };
  static const std::vector<VerbRow> &verbs();

  void take(const bus::Message &message);
  void perform(const std::string &text, const OnAnswer &on_answer);
  void answer_when_handled(const OnAnswer &on_answer);

  void status(const Arguments &, const OnAnswer &on_answer);
  void line_card(const Arguments &arguments, const OnAnswer &on_answer);
  void link(const Arguments &arguments, const OnAnswer &on_answer);
  void vlan(const Arguments &arguments, const OnAnswer &on_answer);
  void cbl(const Arguments &arguments, const OnAnswer &on_answer);
  void channel(const Arguments &arguments, const OnAnswer &on_answer);
  void vlan_delete(const Arguments &arguments, const OnAnswer &on_answer);
  void feature(const Arguments &arguments, const OnAnswer &on_answer);
  void save(const Arguments &, const OnAnswer &on_answer);
  void fault(const Arguments &arguments, const OnAnswer &on_answer);
  void trace(const Arguments &arguments, const OnAnswer &on_answer);
  void daemon_restart(const Arguments &, const OnAnswer &on_answer);
  void wait_ready(const Arguments &arguments, const OnAnswer &on_answer);

  IfIndex interface_on_its_own(const Arguments &arguments) const;
  void answer_when_serving(std::chrono::milliseconds bound, const OnAnswer &on_answer);

  ControlParts parts_;
};

}  // namespace chassis
