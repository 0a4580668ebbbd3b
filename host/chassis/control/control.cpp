#include "host/chassis/control/control.h"

#include <fmt/format.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "host/chassis/base/vlan_number.h"
#include "host/chassis/control/trace_categories.h"
#include "host/chassis/model/interface_name.h"

namespace chassis {

namespace {

using nlohmann::json;

constexpr std::chrono::milliseconds trace_switch_bound{2'000};
constexpr std::int64_t longest_wait_ms = 60'000;
constexpr std::int64_t default_wait_ms = 10'000;

/// A wrong request; `what` is the sentence for the client. It is thrown, because arguments are read inside the
/// expressions that use them, as the JSON library does it; `perform` catches it.
class BadRequest : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

template <typename Value>
Value found_or_refused(const host::Result<Value> &result) {
  if (!result) throw BadRequest(result.error().what);
  return *result;
}

json error(std::string sentence) { return {{"error", std::move(sentence)}}; }

json finished(json answer) {
  const bool failed = answer.contains("error");
  answer["version"] = 1;
  answer["ok"] = !failed;
  return answer;
}

std::uint32_t category_in(const std::string &name) {
  const auto number = category_number(name);
  if (!number)
    throw BadRequest(fmt::format("\"{}\" is not a trace category; give packet, control or error", name));
  return *number;
}

}  // namespace

/// The arguments of a verb, which are checked as they are read.
class ControlService::Arguments {
 public:
  explicit Arguments(const json &request) : request_(request) {}

  std::string text(const char *name) const {
    const auto found = request_.find(name);
    if (found == request_.end() || !found->is_string())
      throw BadRequest(fmt::format("\"{}\" must be a text", name));
    return found->get<std::string>();
  }

  bool boolean(const char *name) const {
    const auto found = request_.find(name);
    if (found == request_.end() || !found->is_boolean()) {
      throw BadRequest(fmt::format("\"{}\" must be true or false", name));
    }
    return found->get<bool>();
  }

  bool boolean_or(const char *name, bool otherwise) const {
    return request_.contains(name) ? boolean(name) : otherwise;
  }

  std::int64_t number(const char *name, std::int64_t least, std::int64_t most) const {
    const auto found = request_.find(name);
    return number_of(found == request_.end() ? json() : *found, name, least, most);
  }

  std::int64_t number_or(const char *name, std::int64_t least, std::int64_t most,
                         std::int64_t otherwise) const {
    return request_.contains(name) ? number(name, least, most) : otherwise;
  }

  VlanId vlan() const { return *vlan_number(number("vlan", 1, sol_vlan.value)); }

  std::vector<VlanId> vlans() const {
    const auto found = request_.find("vlans");
    if (found == request_.end() || !found->is_array() || found->empty()) {
      throw BadRequest("\"vlans\" must be a list of at least one VLAN");
    }
    std::vector<VlanId> vlans;
    for (const json &entry : *found)
      vlans.push_back(*vlan_number(number_of(entry, "vlans", 1, sol_vlan.value)));
    return vlans;
  }

 private:
  static std::int64_t number_of(const json &value, const char *name, std::int64_t least, std::int64_t most) {
    const bool fits =
        value.is_number_integer() &&
        !(value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(most));
    if (!fits || value.get<std::int64_t>() < least || value.get<std::int64_t>() > most) {
      throw BadRequest(fmt::format("\"{}\" must be a number from {} to {}", name, least, most));
    }
    return value.get<std::int64_t>();
  }

  const json &request_;
};

const std::vector<ControlService::VerbRow> &ControlService::verbs() {
  static const std::vector<VerbRow> rows{
      {"status", &ControlService::status},                  // nothing
      {"line-card", &ControlService::line_card},            // online
      {"link", &ControlService::link},                      // port, up
      {"vlan", &ControlService::vlan},                      // port, vlan, up
      {"cbl", &ControlService::cbl},                        // port, vlan, forward
      {"channel", &ControlService::channel},                // channel, port, member
      {"vlan-delete", &ControlService::vlan_delete},        // vlans
      {"feature", &ControlService::feature},                // vlan, on, feature (2 or 3; 2)
      {"save", &ControlService::save},                      // nothing
      {"fault", &ControlService::fault},                    // name, mode, delay_ms (for mode "delay")
      {"trace", &ControlService::trace},                    // category, print, record (true)
      {"daemon-restart", &ControlService::daemon_restart},  // nothing
      {"wait-ready", &ControlService::wait_ready},          // bound_ms (10000)
  };
  return rows;
}

ControlService::ControlService(asio::io_context &loop, const FaultTable &faults, ControlParts parts)
    : Service(loop, faults, "control", bus::address::control), parts_(std::move(parts)) {
  endpoint_.serve_messages(bus::opcode::control, "", [this](const bus::Message &message) { take(message); });
}

void ControlService::take(const bus::Message &message) {
  perform(std::string(bus::text_of_bytes(message.payload)), [this, message](const json &answer) {
    std::string text = finished(answer).dump(-1, ' ', false, json::error_handler_t::replace);
    if (text.size() > bus::payload_limit)
      text = finished(error("the answer is too large for one message")).dump();
    endpoint_.answer(message, bus::bytes_of_text(text));
  });
}

void ControlService::perform(const std::string &text, const OnAnswer &on_answer) {
  try {
    const json request = json::parse(text, nullptr, false);
    if (!request.is_object()) throw BadRequest("the request is not a JSON object");
    const Arguments arguments(request);
    const std::string name = arguments.text("verb");
    for (const VerbRow &row : verbs()) {
      if (row.name == name) return (this->*row.verb)(arguments, on_answer);
    }
    throw BadRequest(fmt::format("there is no verb \"{}\"", name));
  } catch (const BadRequest &refusal) {
    on_answer(error(refusal.what()));
  }
}

void ControlService::answer_when_handled(const OnAnswer &on_answer) {
  parts_.supervisor.barrier([on_answer](bool handled) { on_answer({{"handled_by_daemon", handled}}); });
}

void ControlService::status(const Arguments &, const OnAnswer &on_answer) { on_answer(parts_.status()); }

void ControlService::line_card(const Arguments &arguments, const OnAnswer &on_answer) {
  const bool online = arguments.boolean("online");
  parts_.state.set_line_card_online(online);
  if (online) parts_.announcer.publish_line_card_online();
  answer_when_handled(on_answer);
}

void ControlService::link(const Arguments &arguments, const OnAnswer &on_answer) {
  const bool up = arguments.boolean("up");
  const IfIndex index = found_or_refused(find_interface(parts_.state, arguments.text("port")));
  if (const Channel *channel = parts_.state.channel(index)) {
    for (const FrontPort member : channel->members) parts_.state.set_link(member, up);
  } else {
    parts_.state.set_link(parts_.state.port(index)->number, up);
  }
  parts_.announcer.publish_changes();
  answer_when_handled(on_answer);
}

/// Refuses a member of a port-channel, because it carries the port-channel's VLANs.
IfIndex ControlService::interface_on_its_own(const Arguments &arguments) const {
  const IfIndex index = found_or_refused(find_interface(parts_.state, arguments.text("port")));
  if (const Port *port = parts_.state.port(index); port && port->channel) {
    throw BadRequest(fmt::format("{} is a member of port-channel {}; name the port-channel instead",
                                 interface_name(index), *port->channel));
  }
  return index;
}

void ControlService::vlan(const Arguments &arguments, const OnAnswer &on_answer) {
  const bool up = arguments.boolean("up");
  const VlanId vlan = arguments.vlan();
  const IfIndex index = interface_on_its_own(arguments);
  const InterfaceVlans &vlans = *parts_.state.vlans(index);
  if (!up && !vlans.up[vlan.value] && !vlans.down[vlan.value]) {
    throw BadRequest(fmt::format("{} does not carry VLAN {}", interface_name(index), vlan.value));
  }
  parts_.state.set_vlan(index, vlan, up);
  parts_.announcer.publish_changes();
  answer_when_handled(on_answer);
}

void ControlService::cbl(const Arguments &arguments, const OnAnswer &on_answer) {
  const bool forward = arguments.boolean("forward");
  const VlanId vlan = arguments.vlan();
  if (vlan == sol_vlan && !forward) throw BadRequest("every port always forwards in the SoL VLAN, 4095");
  const IfIndex index = interface_on_its_own(arguments);
  parts_.state.set_forwarding(index, vlan, forward);
  parts_.announcer.publish_changes();
  answer_when_handled(on_answer);
}

void ControlService::channel(const Arguments &arguments, const OnAnswer &on_answer) {
  const bool member = arguments.boolean("member");
  const auto number = static_cast<std::uint16_t>(arguments.number("channel", 1, port_channel_max));
  const FrontPort port = found_or_refused(find_port(parts_.state, arguments.text("port")));
  const host::Result<> changed =
      member ? parts_.state.join_channel(number, port) : parts_.state.leave_channel(number, port);
  if (!changed) throw BadRequest(changed.error().what);
  parts_.announcer.publish_changes();
  answer_when_handled(on_answer);
}

void ControlService::vlan_delete(const Arguments &arguments, const OnAnswer &on_answer) {
  const std::vector<VlanId> vlans = arguments.vlans();
  parts_.vlan_manager.delete_vlans(vlans, parts_.broker);
  answer_when_handled(on_answer);
}

void ControlService::feature(const Arguments &arguments, const OnAnswer &on_answer) {
  const bool on = arguments.boolean("on");
  const auto feature =
      arguments.number_or("feature", VLAN_FEAT_PRIVATE, VLAN_FEAT_STORAGE, VLAN_FEAT_PRIVATE);
  parts_.vlan_manager.set_feature(arguments.vlan(), static_cast<std::uint32_t>(feature), on);
  on_answer(json::object());
}

void ControlService::save(const Arguments &, const OnAnswer &on_answer) {
  parts_.supervisor.save([on_answer](rcode_t rcode) {
    if (rcode == RCODE_SUCCESS) return on_answer(json::object());
    if (rcode == RCODE_UNAVAILABLE) return on_answer(error("nothing was saved: the daemon does not serve"));
    if (rcode == RCODE_TIMED_OUT)
      return on_answer(error("the daemon did not save its configuration in time"));
    on_answer(
        error(fmt::format("the daemon could not save its configuration (result code 0x{:08x})", rcode)));
  });
}

void ControlService::fault(const Arguments &arguments, const OnAnswer &on_answer) {
  const std::string mode = arguments.text("mode");
  const std::int64_t delay =
      mode == "delay" ? arguments.number("delay_ms", 1, std::numeric_limits<std::int32_t>::max()) : 0;
  const host::Result<> set =
      parts_.faults.set(arguments.text("name"), mode, std::chrono::milliseconds(delay));
  on_answer(set ? json::object() : error(set.error().what));
}

void ControlService::trace(const Arguments &arguments, const OnAnswer &on_answer) {
  const bus::TraceSwitch request{category_in(arguments.text("category")),
                                 arguments.boolean("print") ? 1U : 0U,
                                 arguments.boolean_or("record", true) ? 1U : 0U};
  endpoint_.ask(bus::address::tesk, bus::opcode::trace_switch, bus::bytes_of(request), trace_switch_bound,
                [on_answer](const bus::Message *response) {
                  const auto result = response ? record_in<bus::Result>(*response) : std::nullopt;
                  if (!result) return on_answer(error("the daemon did not answer the trace request"));
                  if (result->rcode == RCODE_SUCCESS) return on_answer(json::object());
                  on_answer(error(fmt::format("the daemon refused the trace request (result code 0x{:08x})",
                                              result->rcode)));
                });
}

void ControlService::answer_when_serving(std::chrono::milliseconds bound, const OnAnswer &on_answer) {
  parts_.supervisor.wait_until_serving(bound, [this, on_answer](bool serving) {
    if (!serving) {
      return on_answer(
          error(fmt::format("the daemon does not serve; it is {}", state_name(parts_.supervisor.state()))));
    }
    const auto outage = parts_.supervisor.outage();
    on_answer({{"pid", *parts_.supervisor.pid()}, {"outage_ms", outage ? json(outage->count()) : json()}});
  });
}

void ControlService::daemon_restart(const Arguments &, const OnAnswer &on_answer) {
  parts_.supervisor.kill_daemon();
  answer_when_serving(std::chrono::milliseconds(default_wait_ms), on_answer);
}

void ControlService::wait_ready(const Arguments &arguments, const OnAnswer &on_answer) {
  const std::int64_t bound = arguments.number_or("bound_ms", 0, longest_wait_ms, default_wait_ms);
  answer_when_serving(std::chrono::milliseconds(bound), on_answer);
}

}  // namespace chassis
