#include "host/chassis/control/status_report.h"

#include <nlohmann/json.hpp>

#include "host/chassis/asic/counters_json.h"
#include "host/chassis/base/vlan_set.h"
#include "host/chassis/control/mirror_report.h"
#include "host/chassis/model/interface_name.h"

namespace chassis {

namespace {

using nlohmann::json;

template <typename Value>
json value_or_null(const std::optional<Value> &value) {
  return value ? json(*value) : json();
}

json vlans_report(const InterfaceVlans &vlans) {
  return {{"up", to_ranges(vlans.up)},
          {"down", to_ranges(vlans.down)},
          {"blocked", to_ranges(vlans.up & ~vlans.forwarding)}};
}

json daemon_report(const Supervisor &supervisor, const FeatureRegistry &registry) {
  const auto outage = supervisor.outage();
  const auto started = std::chrono::nanoseconds(supervisor.started().time_since_epoch());
  return {{"pid", value_or_null(supervisor.pid())},
          {"state", state_name(supervisor.state())},
          {"serving", supervisor.state() == DaemonState::serving},
          {"starts", supervisor.starts()},
          {"started_ns", started.count()},
          {"handshake", supervisor.handshaken()},
          {"heartbeats", supervisor.heartbeats()},
          {"start_status", value_or_null(supervisor.start_status())},
          {"last_exit", supervisor.last_exit()},
          {"outage_ms", outage ? json(outage->count()) : json()},
          {"features", registry.features()}};
}

json ports_report(const ChassisState &state, const Fabric &fabric) {
  json rows = json::array();
  for (const auto &[number, port] : state.ports()) {
    json row = {{"port", number.value},
                {"name", interface_name(port.index)},
                {"if_index", port.index.value},
                {"asic_port", port.asic.value},
                {"link", port.link_up ? "up" : "down"},
                {"channel", value_or_null(port.channel)},
                {"vlans", vlans_report(port.vlans)}};
    row.update(as_json(fabric.counters(port.asic), DropsListed::counted_only));
    rows.push_back(std::move(row));
  }
  return rows;
}

json channels_report(const ChassisState &state) {
  json rows = json::array();
  for (const auto &[number, channel] : state.channels()) {
    json members = json::array();
    for (const FrontPort member : channel.members) members.push_back(member.value);
    const auto operational = state.operational_ports(channel.index);
    rows.push_back(
        {{"channel", number},
         {"name", interface_name(channel.index)},
         {"if_index", channel.index.value},
         {"members", members},
         {"first_operational", operational.empty() ? json() : json(operational.front()->number.value)},
         {"vlans", vlans_report(channel.vlans)}});
  }
  return rows;
}

/// VLANs that the daemon requested or that carry a feature.
json vlans_table(const Fabric &fabric, const VlanManager &manager) {
  json rows = json::array();
  for (std::uint16_t number = 1; number <= sol_vlan.value; ++number) {
    const auto features = manager.features().find(VlanId{number});
    const bool has_features = features != manager.features().end();
    if (!fabric.classified()[number] && !fabric.ltl_allocated()[number] && !has_features) continue;
    rows.push_back({{"vlan", number},
                    {"classified", fabric.classified()[number]},
                    {"ltl", fabric.ltl_allocated()[number]},
                    {"features", has_features ? json(features->second) : json::array()}});
  }
  return rows;
}

json services_report(const std::vector<Service *> &services) {
  json rows = json::array();
  for (const Service *service : services) {
    const Endpoint *endpoint = &service->endpoint();
    const EndpointCounters &counters = endpoint->counters();
    const bus::SocketCounters *socket = endpoint->socket_counters();
    rows.push_back({{"service", endpoint->name()},
                    {"taken", counters.taken},
                    {"malformed", counters.malformed},
                    {"unknown_opcode", counters.unknown_opcode},
                    {"faulted", counters.faulted},
                    {"not_sent", counters.not_sent},
                    {"dropped_datagrams", socket ? socket->malformed + socket->foreign : 0}});
  }
  return rows;
}

json faults_report(const FaultTable &faults) {
  json active = json::object();
  for (const auto &[name, fault] : faults.active()) active[name] = describe(fault);
  return active;
}

}  // namespace

json report(const ReportSources &sources) {
  const Description &description = sources.state.description();
  return {{"chassis",
           {{"name", description.name},
            {"board", static_cast<int>(description.board)},
            {"line_card_online", sources.state.line_card_online()}}},
          {"daemon", daemon_report(sources.supervisor, sources.features)},
          {"ports", ports_report(sources.state, sources.fabric)},
          {"cpu", as_json(sources.fabric.cpu_counters(), DropsListed::counted_only)},
          {"channels", channels_report(sources.state)},
          {"known_vlans", to_ranges(sources.vlan_manager.known())},
          {"vlans", vlans_table(sources.fabric, sources.vlan_manager)},
          {"mirror", mirror_report(sources.state, sources.klm)},
          {"services", services_report(sources.services)},
          {"faults", faults_report(sources.faults)}};
}

}  // namespace chassis
