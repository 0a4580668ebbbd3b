#include "tests/model/model.h"

#include <algorithm>

#include "tests/model/frames.h"

namespace model {

using standin::hex;
using standin::shown;

namespace {

/** Type code and number of the management side's interface index. */
constexpr uint32_t management_index = 0x05000000;

size_t number_of(Side side) { return static_cast<size_t>(side); }

}  // namespace

Model::Model(uint16_t board, const std::vector<int32_t> &stored_vlans) : is_vorlund_(board == 83) {
  platform_.running_store = stored_vlans;
  state_.management.interface = management_index | (is_vorlund_ ? 1 : 0);
  state_.management.type = 5;
  push({&state_.management});
  insert_vlan(sol_vlan);
  accept(sol_vlan);
  use_stored_vlans();
  synchronise();
  platform_.take_lines();
}

void Model::play(const Event &event) {
  platform_.begin_event(event);
  woken_.clear();
  made_a_pass_ = false;
  std::visit([this](const auto &happening) { happens(happening); }, event.happening);
}

size_t Model::blocks() const {
  size_t count = state_.learnt.size();
  each(state_.ports, [&](const PortEntry &entry) { count += entry.port ? 2u : 1u; });
  each(state_.vlans, [&](const Vlan &) { ++count; });
  return count;
}

uint32_t Model::token_of(uint16_t vlan) const {
  uint32_t token = 999;
  each(state_.vlans, [&](const Vlan &entry) {
    if (entry.number == vlan) token = entry.token;
  });
  return token;
}

/* ---- the loop ---- */

std::vector<int> Model::watched() const {
  std::vector<int> descriptors = {queue_handle};
  if (state_.relay_is_up && !state_.relay_is_disabled)
    descriptors.insert(descriptors.end(), {state_.inband_socket, state_.management_socket});
  std::ranges::sort(descriptors);
  return descriptors;
}

std::vector<int> Model::readable(bool message_waits) const {
  std::vector<int> ready;
  if (message_waits) ready.push_back(queue_handle);
  if (!state_.relay_is_up || state_.relay_is_disabled) return ready;
  if (!platform_.waiting[number_of(Side::inband)].empty()) ready.push_back(state_.inband_socket);
  if (!platform_.waiting[number_of(Side::management)].empty()) ready.push_back(state_.management_socket);
  return ready;
}

std::string Model::shown_select() const {
  std::string set;
  for (const int descriptor : watched()) set += (set.empty() ? "" : " ") + std::to_string(descriptor);
  return "read {" + set + "}";
}

void Model::pass(bool message_waits, const std::function<void()> &serve_message) {
  made_a_pass_ = true;
  platform_.say("select", watched().back() + 1, shown_select());
  woken_ = readable(message_waits);
  if (woken_.empty()) return;
  const int inband = state_.inband_socket;
  const int management = state_.management_socket;
  const auto is_woken = [&](int descriptor) { return std::ranges::count(woken_, descriptor) != 0; };
  if (is_woken(queue_handle)) serve_message();
  if (is_woken(inband)) drain_inband();
  if (is_woken(management)) drain_management();
  platform_.say("select", watched().back() + 1, shown_select());
}

void Model::begin_message(uint32_t opcode) {
  platform_.say("qbus_recv", queue_handle, 0);
  platform_.say("overseer_dispatch", "message " + shown(hex(opcode)));
}

void Model::end_message(uint32_t opcode) {
  platform_.say("qbus_drop", queue_handle, "message " + shown(hex(opcode)));
}

void Model::message(uint32_t opcode, const std::function<void()> &handler) {
  pass(true, [&] {
    begin_message(opcode);
    platform_.say("tracekit_process_msg", queue_handle, "message " + shown(hex(opcode)));
    handler();
    end_message(opcode);
    synchronise();
  });
}

/* ---- messages of no other topic ---- */

void Model::happens(const FeatureAnswer &answer) {
  message(answer.is_create ? 0x5c2d : 0x5c2e, [] {});
}

void Model::happens(const BareMessage &bare) {
  constexpr uint32_t debug = 0x20401;
  constexpr uint32_t enable = 0x20402;
  constexpr uint32_t vlans_deleted = 0x5c22;
  constexpr uint32_t deletion_bytes = 10;
  if (bare.opcode == vlans_deleted)  // bytes of zero name VLAN 0
    return happens(VlansDeleted{std::vector<int32_t>(bare.payload_bytes / deletion_bytes, 0)});
  message(bare.opcode, [&] {
    if (bare.opcode == debug && bare.payload_bytes != 0) platform_.allocates();
    if (bare.opcode == debug || bare.opcode == enable) acknowledge(bare.opcode);
  });
}

void Model::happens(const SupervisorMessage &supervisors) {
  constexpr uint32_t opcode = 0x77;
  pass(true, [&] {
    begin_message(opcode);
    if (supervisors.verdict == 1) return;
    end_message(opcode);
    if (supervisors.verdict != 0) synchronise();
  });
}

void Model::happens(const TraceMessage &) {
  constexpr uint32_t opcode = 0x78;
  message(opcode, [] {});
}

void Model::happens(const EmptyQueue &) {
  pass(true, [this] { platform_.say("qbus_recv", queue_handle, 0); });
}

void Model::happens(const Save &) { platform_.save(0x79); }

/* ---- changes of which the daemon gets no notice ---- */

void Model::happens(const ChannelBecomes &channel) {
  platform_.channels[0x16000000 | channel.channel] = {channel.first_operational, channel.members};
}

void Model::happens(const DeviceCounts &counts) { platform_.device_counts[counts.interface] = counts.frames; }

void Model::happens(const FramesArrive &arrival) {
  if (!state_.relay_is_up) return;
  for (const Frame &frame : arrival.frames) {
    platform_.waiting[number_of(frame.is_inband ? Side::inband : Side::management)].push_back(
        bytes_of(frame));
  }
  pass(false, [] {});
}

void Model::happens(const StationsAppear &stations) { happens(FramesArrive{frames_of(stations)}); }

}  // namespace model
