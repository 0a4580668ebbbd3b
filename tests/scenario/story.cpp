#include "tests/scenario/story.h"

#include "opal/portsvc.h"
#include "tests/scenario/scenarios.h"
#include "tests/scenario/world.h"
#include "tests/unit/frames.h"

namespace {

constexpr uint16_t sol = 4095;

using Step = std::function<void(const std::string &)>;

/** No stores, no VLANs: the daemon creates its stores and gets its first work. */
void first_start(const Step &step) {
  step("main starts without stores");
  start_up();
  step("port 1 comes up");
  serve(port_up(ethernet(1), {1, 100}));
  step("VLAN 100 becomes CIN and finds its member");
  serve(add_cin({{100, 100}}));
  step("the first save");
  save();
}

void ports(const Step &step) {
  step("the line card comes online, twice");
  serve(line_card_online());
  serve(line_card_online());
  step("port 3 comes up in a configured VLAN, port 4 in none");
  serve(port_up(ethernet(3), {1, 100}));
  serve(port_up(ethernet(4), {}));
  step("port 3 is up once more, in one VLAN more");
  serve(port_up(ethernet(3), {1, 100, 200, 300}));
  step("ports 3 and 4 forward");
  serve(forwarding(ethernet(3),
                   {1, 100, 300, 302, 304, 306, 308, 310, 312, 314, 316, 318, 320, 322, 324, 326}));
  serve(forwarding(ethernet(4), {}));
  step("the port-index service answers");
  serve(redirection_made(1001));
  serve(redirection_made(1001));
  step("a port-channel comes up, forwards, and goes");
  channel_has(2, ethernet(7), {ethernet(7), ethernet(8)});
  serve(port_up(port_channel(2), {100}));
  serve(forwarding(port_channel(2), {100}));
  serve(port_down(port_channel(2), {100, sol}));
}

void relay(const Step &step) {
  step("a blade speaks, and is answered");
  relay_from_asic(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  relay_from_management(tagged_frame(blade_mac, amm_mac, 100));
  step("frames to all");
  relay_from_asic(from_asic(4, tagged_frame(broadcast_mac, other_mac, sol)));
  relay_from_management(tagged_frame(group_mac, amm_mac, sol));
  relay_from_management(tagged_frame(broadcast_mac, amm_mac, 100, 1518));
  step("frames that are not carried");
  relay_from_management(untagged_frame(blade_mac, amm_mac));
  relay_from_management(tagged_frame(blade_mac, amm_mac, 999));
  relay_from_management(tagged_frame(blade_mac, amm_mac, 200));
  relay_from_asic(from_asic(3, untagged_frame(amm_mac, blade_mac)));
  relay_from_asic(from_asic(12, tagged_frame(amm_mac, blade_mac, 100)));
  relay_from_asic(from_asic(4, tagged_frame(amm_mac, other_mac, 100)));
  relay_from_asic(Bytes(80));
  relay_from_management(Bytes(20));
  step("a VLAN in which nobody forwards");
  serve(forwarding(ethernet(3), {}));
  relay_from_management(tagged_frame(broadcast_mac, amm_mac, 100));
  step("a from-host header of bytes without the flags");
  Bytes unflagged = from_asic(3, tagged_frame(amm_mac, blade_mac, 100));
  unflagged[1] = 0;
  relay_from_asic(unflagged);
  unflagged[1] = 1;
  unflagged[2] = 0;
  relay_from_asic(unflagged);
}

void operator_commands(const Step &step) {
  serve(forwarding(ethernet(3), {100, 300}));
  step("VLANs become CIN: new, known, refused");
  serve(add_cin({{300, 302}}));
  serve(add_cin({{300, 300}}));
  serve(add_cin({{2, 2}}));
  serve(add_cin({{1, 4}, {4090, 5000}}));
  when("vlan_mgr_check_feat").once().returns(0);
  serve(add_cin({{303, 303}}));
  step("a port beyond the ASIC's is a member of no mask");
  serve(port_up(ethernet(40), {310}));
  serve(add_cin({{310, 310}}));
  serve(port_down(ethernet(40), {310}));
  step("more VLANs than there may be");
  serve(add_cin({{500, 520}}));
  serve(remove_cin({{500, 520}}));
  step("what is configured and counted");
  module_counts(ethernet(3), {0x01020304, 5, 0xfffffffe, 7});
  serve(show_cin());
  serve(show_all_counters());
  serve(show_counters_of({{ethernet(3), ethernet(5)}}));
  when("portsvc_is_ifindex_present").call(20).returns(0);
  serve(show_all_counters());
  serve(show_counters_of({}));
  step("configuration texts");
  serve(running_configuration({100, 101, 300}, true));
  serve(startup_configuration({100, 300}));
  step("the supervisor saves");
  save();
  serve(startup_configuration({100, 300}));
  step("VLANs are CIN no more: one, an unknown one, a range that is partly unknown");
  serve(remove_cin({{301, 301}}));
  serve(remove_cin({{301, 301}}));
  serve(remove_cin({{300, 302}}));
  step("the VLAN manager answers, and deletes VLANs");
  serve(feature_set_answer());
  serve(feature_unset_answer());
  serve(vlans_deleted({200, 999}));
}

void switches(const Step &step) {
  for (const uint8_t about : {packets, control_flow, everything, uint8_t{9}}) {
    step("debug requests about " + std::to_string(about));
    for (const int32_t kind : {set_request, delete_request, get_request}) serve(debug_request(kind, about));
  }
  step("the relay is switched off, and on");
  serve(enable_request(true));
  serve(enable_request(false));
  relay_from_management(tagged_frame(broadcast_mac, amm_mac, sol));
  serve(enable_request(true));
  step("the timer expires, twice");
  timer_expires();
  timer_expires();
  step("a message that nobody knows");
  serve({.opcode = 0x12345, .payload = Bytes(4)});
  step("an answer that is none");
  serve({.opcode = redirection_released(1).opcode, .token = 1});
}

void farewell(const Step &step) {
  step("the ports go");
  serve(port_down(ethernet(3), {1, 100, 200, sol}));
  serve(port_down(ethernet(4), {sol}));
  serve(port_down(ethernet(4), {sol}));
  step("the port-index service releases");
  serve(redirection_released(1019));
}

/** Stores with VLANs 100 and 200; blades, frames, commands. */
void full_life(const Step &step) {
  store(debug_store);
  store(startup_store).versions[1] = 1;
  store_cin_vlans(startup_store, {100, 200});
  step("main starts with two stored VLANs");
  start_up();
  ports(step);
  relay(step);
  operator_commands(step);
  switches(step);
  farewell(step);
}

/** The other board: uplinks, 14 ports, another management device, and a store of another version. */
void new_blade(const Step &step) {
  on_board(83);
  store(startup_store).versions[1] = 2;
  step("main starts on the other board");
  start_up();
  step("an uplink and a downlink come up");
  serve(line_card_online());
  serve(port_up(ethernet(5), {100}));
  serve(forwarding(ethernet(5), {100}));
  serve(port_up(ethernet(7), {100}));
  serve(forwarding(ethernet(7), {100}));
  step("counters of 14 ports");
  serve(show_all_counters());
  step("frames");
  relay_from_asic(from_asic(7, tagged_frame(amm_mac, blade_mac, sol)));
  relay_from_management(tagged_frame(blade_mac, amm_mac, sol));
}

/** The message without its last byte. */
Message shortened(Message message) {
  message.payload.pop_back();
  return message;
}

Message with_attribute(uint32_t command, uint32_t attribute, Bytes value) {
  return message_of_command({command, false, {{attribute, std::move(value)}}});
}

/** Messages that no correct sender sends. */
void strange_messages(const Step &step) {
  store(startup_store).versions[1] = 1;
  store_cin_vlans(startup_store, {100});
  start_up();
  serve(port_up(ethernet(3), {100}));
  step("payloads that end early");
  serve(shortened(port_up(ethernet(4), {100})));
  serve(shortened(forwarding(ethernet(3), {100})));
  serve(shortened(debug_request(set_request, packets)));
  serve(shortened(enable_request(false)));
  step("commands without their list, or with a part of it");
  serve(message_of_command({.id = 3}));
  serve(with_attribute(3, 0x13030007, Payload().u32(0).u32(2).u32(300)));
  serve(with_attribute(1, 0x0EC20003, Payload().u32(28).u32(2).u32(0).u32(ethernet(3))));
  step("ports that are unknown, or in no state that there is");
  serve(forwarding(ethernet(9), {100}));
  Message sideways = port_up(ethernet(3), {100});
  sideways.payload[offsetof(portsvc_l2_port_state_t, link_state) + 4] = 3;
  serve(sideways);
  Message contradiction = port_up(ethernet(3), {100});
  contradiction.payload[offsetof(portsvc_l2_port_state_t, link_state) + 4] = 2;
  serve(contradiction);
  step("a port-channel without an operational port");
  channel_has(5, 0, {ethernet(7)});
  serve(port_up(port_channel(5), {100}));
}

/** A start, or a later run, in which one operation fails once. */
void bad_start(const Step &step, std::string_view operation) {
  step("main starts while " + std::string(operation) + " fails");
  store(startup_store).versions[1] = 1;
  store_cin_vlans(startup_store, {100});
  fail_next(operation);
  if (start_up() != waiting()) return;
  serve(line_card_online());
  serve_what_waits();
}

void bad_day(const Step &step, std::string_view operation) {
  running_with_blades();
  channel_has(2, ethernet(7), {ethernet(7)});
  forget();
  step("a day on which " + std::string(operation) + " fails");
  fail_next(operation);
  serve(port_up(port_channel(2), {100}));
  serve(port_down(port_channel(2), {100, sol}));
  relay_from_asic(from_asic(3, tagged_frame(amm_mac, blade_mac, 100)));
  relay_from_management(tagged_frame(blade_mac, amm_mac, 100));
  serve(add_cin({{300, 300}}));
  serve(show_all_counters());
  serve(startup_configuration({100}));
  save();
  serve(remove_cin({{300, 301}}));
  serve(vlans_deleted({100}));
  serve(port_down(ethernet(3), {100, 200, 300, sol}));
  serve_what_waits();
}

/** Each operation that can fail, at the start and later. */
void tell_misfortunes(const Listener &listener) {
  for (const Failure &failure : failures()) {
    for (const auto tell : {bad_start, bad_day}) {
      World world;
      tell(listener.step, failure.operation);
      listener.chapter(std::string(failure.operation));
    }
  }
}

void tell_chapter(const Listener &listener, const std::string &name, void (*chapter)(const Step &)) {
  World world;
  chapter(listener.step);
  listener.chapter(name);
}

}  // namespace

void tell_story(const Listener &listener) {
  tell_chapter(listener, "first start", first_start);
  tell_chapter(listener, "full life", full_life);
  tell_chapter(listener, "new blade", new_blade);
  tell_chapter(listener, "strange messages", strange_messages);
  tell_misfortunes(listener);
}
