#include "tests/agreement/daemon.h"

#include <sstream>

#include "opal/overseer.h"
#include "tesk/tesk_main.h"
#include "tests/agreement/tables.h"
#include "tests/model/frames.h"
#include "tests/scenario/invariants.h"
#include "tests/unit/tables.h"

namespace model {

namespace {

constexpr uint32_t attribute_interfaces = 0x0ec20003;
constexpr uint32_t attribute_vlans = 0x13030007;

/** From this many learnt addresses on, the daemon may allocate an index of them. */
constexpr size_t addresses_of_an_index = 257;

/* ---- messages ---- */

std::vector<uint32_t> wide(const Vlans &vlans) { return {vlans.begin(), vlans.end()}; }

Bytes request(int32_t kind, uint32_t data_size, const Bytes &body) {
  return Payload().raw(kind).u32(data_size).zeros(104).bytes(body);
}

Message message_of(const PortState &notice) {
  std::vector<portsvc_l2_port_state_t> ports;
  for (const PortReport &port : notice.ports)
    ports.push_back(port_state(port.interface, port.link, wide(port.up), wide(port.down)));
  return {.opcode = QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, .payload = state_notice(ports)};
}

Message message_of(const CblChange &notice) {
  Payload payload;
  payload.u16(static_cast<uint16_t>(notice.ports.size()));
  for (const CblReport &port : notice.ports) payload.u32(port.interface).raw(vlan_set(wide(port.forwarding)));
  return {.opcode = QBUS_OPC_LTLSVC_CBL_CHANGE, .payload = payload};
}

Message message_of(const CinCommand &command) {
  std::map<uint32_t, Bytes> attributes;
  if (command.has_list) attributes[attribute_vlans] = vlan_ranges(command.vlans);
  return message_of_command({.id = 3, .is_no_form = command.is_no_form, .attributes = attributes});
}

Message message_of(const ShowCounters &command) {
  std::map<uint32_t, Bytes> attributes;
  if (!command.interfaces.empty()) attributes[attribute_interfaces] = interface_ranges(command.interfaces);
  return message_of_command({.id = 1, .attributes = attributes});
}

/** Prepares what the event needs, before the model plays it. */
class Preparation {
 public:
  explicit Preparation(const Model &model) : model_(model) {}

  void operator()(const LineCardOnline &) { queue({.opcode = QBUS_OPC_LC_ONLINE}); }
  void operator()(const PortState &notice) { queue(message_of(notice)); }
  void operator()(const CblChange &notice) { queue(message_of(notice)); }
  void operator()(const VlansDeleted &notice) {
    queue({.opcode = 0x5c22, .payload = deleted_vlans(notice.vlans)});
  }
  void operator()(const LtlAnswer &answer) {
    queue({.opcode = answer.is_allocation ? 0x11003u : 0x11004u,
           .is_response = answer.is_response,
           .token = model_.token_of(answer.vlan) - answer.age});
  }
  void operator()(const CinCommand &command) { queue(message_of(command)); }
  void operator()(const ShowCin &) { queue(message_of_command({.id = 2})); }
  void operator()(const ShowCounters &command) { queue(message_of(command)); }
  void operator()(const UnknownCommand &command) { queue(message_of_command({.id = command.id})); }
  void operator()(const DebugRequest &debug) {
    queue({.opcode = 0x20401, .payload = request(debug.kind, debug.data_size, debug.body)});
  }
  void operator()(const EnableRequest &enable) {
    queue(
        {.opcode = 0x20402, .payload = request(enable.kind, enable.data_size, Payload().u32(enable.state))});
  }
  void operator()(const Generation &generation) {
    queue(message_of_generation({.vlans = wide(generation.vlans),
                                 .configuration = generation.configuration,
                                 .display = generation.display}));
  }
  void operator()(const FeatureAnswer &answer) {
    queue({.opcode = answer.is_create ? 0x5c2du : 0x5c2eu, .is_response = true});
  }
  void operator()(const BareMessage &bare) {
    queue({.opcode = bare.opcode, .payload = Payload().zeros(bare.payload_bytes)});
  }
  void operator()(const SupervisorMessage &supervisors) {
    when("overseer_dispatch").returns(supervisors.verdict);
    queue({.opcode = 0x77});
  }
  void operator()(const TraceMessage &) {
    when("tracekit_process_msg").returns(0);
    queue({.opcode = 0x78});
  }
  void operator()(const EmptyQueue &) {}
  void operator()(const Save &) {
    qbus_msg_ref_t save = hold({.opcode = 0x79});
    overseercb_cfg_write(&save, "startup:", "running:");
  }
  void operator()(const ChannelBecomes &channel) {
    channel_has(channel.channel, channel.first_operational, channel.members);
  }
  void operator()(const DeviceCounts &counts) {
    module_counts(counts.interface, {counts.frames, counts.frames + 1, counts.frames + 2, counts.frames + 3});
  }
  void operator()(const FramesArrive &arrival) {
    const State &state = model_.state();
    if (!state.relay_is_up) return;
    for (const Frame &frame : arrival.frames)
      arrives(frame.is_inband ? state.inband_socket : state.management_socket, bytes_of(frame));
  }

  void operator()(const StationsAppear &stations) { (*this)(FramesArrive{frames_of(stations)}); }

 private:
  const Model &model_;
};

/* ---- the platform's refusals ---- */

/* Traces have their own tests, so they are not recorded here. */
void silence_traces() {
  when("tracekit_hist_event_subtype_check").returns(1);
  when("tracekit_chk_int").returns(0);
}

void refuse(const Event &event) {
  if (event.refusal) {
    Script &script = when(event.refusal->operation).call(event.refusal->call);
    if (event.refusal->result) script.returns(*event.refusal->result);
    if (event.refusal->output) script.gives(*event.refusal->output);
  }
  fail_allocation(event.failing_allocation);
}

/* ---- one pass of the loop ---- */

void wake(const std::vector<int> &descriptors) {
  switch (descriptors.size()) {
    case 0:
      return;
    case 1:
      return wakes({descriptors[0]});
    case 2:
      return wakes({descriptors[0], descriptors[1]});
    default:
      return wakes({descriptors[0], descriptors[1], descriptors[2]});
  }
}

Ending make_a_pass() {
  return run([]() -> int { tesk_processing_loop(); });
}

/** What one pass prints on standard output for the operator. */
std::string printed_in_a_pass(const Event &event) {
  const auto *enable = std::get_if<EnableRequest>(&event.happening);
  if (enable == nullptr || enable->state <= 1) {
    make_a_pass();
    return "";
  }
  return printed_by([] { make_a_pass(); });
}

std::string expected_print(const Event &event) {
  const auto *enable = std::get_if<EnableRequest>(&event.happening);
  return enable != nullptr && enable->state > 1 ? "Invalid Value" : "";
}

std::string differing_frames(Model &model) {
  for (const int descriptor : {model.state().inband_socket, model.state().management_socket}) {
    const std::vector<Bytes> frames = std::exchange(written(descriptor), {});
    const auto expected = model.platform().written.find(descriptor);
    const bool none = expected == model.platform().written.end();
    if (none ? !frames.empty() : frames != expected->second)
      return "the frames written to " + std::to_string(descriptor) + " differ\n";
  }
  return "";
}

/** The event without a failing allocation if the daemon may index its addresses in it: the model knows no
 * such index. */
Event without_failing_index(const Event &event, const Model &model) {
  Event playable = event;
  const auto *stations = std::get_if<StationsAppear>(&event.happening);
  if (stations != nullptr || model.state().learnt.size() + 8 >= addresses_of_an_index)
    playable.failing_allocation = 0;
  return playable;
}

std::string broken() {
  std::string all;
  for (const std::string &sentence : broken_invariants()) all += sentence + '\n';
  return all;
}

}  // namespace

Daemon::Daemon(uint16_t board, const std::vector<int32_t> &stored_vlans) {
  on_board(board);
  vorlund_platform = board == 83;
  store_cin_vlans(running_store, stored_vlans);
  bring_up_tables();
  ignore_rest();
}

Daemon::~Daemon() { reset_scripts(); }

std::string Daemon::play(const Event &generated, Model &model) {
  const Event event = without_failing_index(generated, model);
  reset_scripts();
  silence_traces();
  refuse(event);
  forget();
  std::visit(Preparation(model), event.happening);
  model.play(event);
  std::string found;
  if (model.made_a_pass()) {
    wake(model.woken());
    if (printed_in_a_pass(event) != expected_print(event)) found += "standard output differs\n";
  }
  fail_allocation(0);
  expect(model.platform().take_lines());
  return found + differing_frames(model) + differences(model) + broken();
}

}  // namespace model
