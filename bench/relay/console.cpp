#include "bench/relay/console.h"

#include <fmt/core.h>

#include "bench/relay/failure.h"
#include "host/bus/codec.h"
#include "host/bus/services.h"
#include "host/chassis/model/board_ports.h"
#include "host/chassis/model/description.h"
#include "opal/cush.h"
#include "opal/rcode.h"

namespace bench {
namespace {

using namespace opal;

constexpr int answer_bound_ms = 5000;
constexpr std::uint32_t show_cin_vlans = 2;
constexpr std::uint32_t vlan_cin = 3;
constexpr std::uint32_t vlan_ranges = 0x13030007;
constexpr std::uint16_t last_vlan = 4094;

bus::Socket open_socket(const std::filesystem::path &run_folder) {
  host::Result<bus::Socket> socket = bus::Socket::bind_ephemeral(run_folder);
  if (!socket) {
    throw Failure(fmt::format("no socket on the message bus: {}", socket.error().cause.message()));
  }
  return std::move(*socket);
}

vlan_bitset_t all_vlans() {
  vlan_bitset_t set{};
  set.size = VLAN_BITSET_BYTES;
  for (std::uint32_t vlan = 1; vlan <= last_vlan; ++vlan) {
    set.bits[vlan / 8] = static_cast<std::uint8_t>(set.bits[vlan / 8] | 1u << vlan % 8);
  }
  return set;
}

}  // namespace

Console::Console(const std::filesystem::path &run_folder) : socket_(open_socket(run_folder)) {}

bus::Payload Console::ask(std::uint32_t opcode, const bus::Payload &payload) {
  host::Result<bus::Message> answer = socket_.ask(bus::address::tesk, opcode, payload, answer_bound_ms);
  if (!answer) {
    throw Failure(fmt::format("the daemon did not answer: {}", answer.error().cause.message()));
  }
  return std::move(answer->payload);
}

void Console::command(std::uint32_t id, bool is_del, const bus::Payload &vlans) {
  bus::CommandView command{id, is_del, {}};
  if (!vlans.empty()) {
    command.attributes.push_back({vlan_ranges, bus::AttributeKind::value, vlans});
  }
  const bus::Payload payload = ask(bus::opcode::cush_command, bus::encode_command(command));
  const auto answer = bus::decode_command_answer(payload);
  if (!answer || !answer->ok) {
    throw Failure(fmt::format("the daemon refused a command: {}", answer ? answer->text : "unreadable"));
  }
}

void Console::show_vlans() { command(show_cin_vlans, false, {}); }

void Console::configure_vlan(std::uint16_t vlan, bool cin) {
  cush_int_multi_range_t ranges{};
  ranges.range[ranges.range_count++] = {vlan, vlan};
  command(vlan_cin, !cin, bus::Writer().record(ranges).take());
}

void Console::notify_port(bool vlans_up) {
  portsvc_l2_port_state_t state{};
  state.ifindex = chassis::if_index(chassis::FrontPort{1}).value;
  state.iod = 1;
  state.link_state = PORTSVC_LINK_UP;
  state.vlan_valid = 1;
  state.port_mode = 2;
  state.num_active_ports = 1;
  state.vlan_up_bmp.size = state.vlan_down_bmp.size = VLAN_BITSET_BYTES;
  (vlans_up ? state.vlan_up_bmp : state.vlan_down_bmp) = all_vlans();
  const host::Result<> sent =
      socket_.send(bus::address::tesk, bus::Kind::notice, QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, 0,
                   bus::encode_l2_state_change({&state, 1}));
  if (!sent) {
    throw Failure(fmt::format("the daemon took no notice: {}", sent.error().cause.message()));
  }
}

void Console::save() {
  const auto answer = socket_.ask(bus::address::overseer, bus::opcode::save, {}, answer_bound_ms);
  const auto result = answer ? bus::record_of<bus::Result>(answer->payload) : std::nullopt;
  if (!result || result->rcode != RCODE_SUCCESS) {
    throw Failure("the configuration was not saved");
  }
}

void Console::barrier() { (void)ask(bus::opcode::barrier, {}); }

}  // namespace bench
