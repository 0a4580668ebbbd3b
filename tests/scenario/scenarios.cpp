#include "tests/scenario/scenarios.h"

#include "tests/scenario/world.h"
#include "tests/unit/frames.h"

namespace {

constexpr uint32_t slow_port = 3, fast_port = 4, channel = 2;
constexpr uint16_t sol = 4095;

/** A machine whose startup store configures CIN VLANs 100 and 200. */
void machine_with_vlans() {
  store(debug_store);
  store(startup_store).versions[1] = 1;
  store_cin_vlans(startup_store, {100, 200});
}

void new_blade_machine() { on_board(83); }

void running() {
  machine_with_vlans();
  start_up();
  serve(line_card_online());
}

}  // namespace

void running_with_blades() {
  running();
  for (const uint32_t port : {slow_port, fast_port}) serve(port_up(ethernet(port), {100, 200, 300}));
  serve(forwarding(ethernet(slow_port), {100, 300}));
  serve(forwarding(ethernet(fast_port), {100, 200, 300}));
}

namespace {

Ending starts() { return start_up(); }

Ending line_card_comes_online() { return serve(line_card_online()); }

Ending ports_come_and_go() {
  serve(port_up(ethernet(slow_port), {100, 200, 300}));
  serve(forwarding(ethernet(slow_port), {100}));
  serve(port_up(ethernet(fast_port), {200}));
  serve(port_up(ethernet(slow_port), {100, 200}));
  serve(redirection_made(1002));
  serve(port_down(ethernet(fast_port), {200, sol}));
  return serve(port_down(ethernet(slow_port), {100, 200, 300, sol}));
}

Ending vlan_is_configured() {
  serve(add_cin({{300, 301}}));
  save();
  serve(remove_cin({{301, 301}}));
  serve(remove_cin({{299, 300}}));
  serve(feature_set_answer());
  return serve(feature_unset_answer());
}

Ending vlans_are_deleted() { return serve(vlans_deleted({100, 999, 200})); }

Ending channel_lives() {
  channel_has(channel, ethernet(7), {ethernet(7), ethernet(8), ethernet(9)});
  serve(port_up(port_channel(channel), {100}));
  serve(forwarding(port_channel(channel), {100}));
  relay_from_asic(from_asic(8, tagged_frame(amm_mac, blade_mac, 100)));
  relay_from_management(tagged_frame(blade_mac, amm_mac, 100));
  return serve(port_down(port_channel(channel), {100, sol}));
}

Ending configuration_is_shown() {
  module_counts(ethernet(slow_port), {1, 2, 3, 4});
  serve(show_cin());
  serve(show_all_counters());
  serve(show_counters_of({{ethernet(slow_port), ethernet(slow_port + 2)}}));
  serve(running_configuration({100, 101, 200}, true));
  return serve(startup_configuration({100, 200}));
}

Ending frames_pass() {
  relay_from_asic(from_asic(slow_port, tagged_frame(amm_mac, blade_mac, 100)));
  relay_from_asic(from_asic(fast_port, tagged_frame(broadcast_mac, other_mac, sol)));
  relay_from_management(tagged_frame(blade_mac, amm_mac, 100));
  relay_from_management(tagged_frame(group_mac, amm_mac, sol));
  return relay_from_management(untagged_frame(blade_mac, amm_mac));
}

Ending switches_are_moved() {
  for (const uint8_t about : {packets, control_flow, everything}) {
    serve(debug_request(set_request, about));
    serve(debug_request(delete_request, about));
  }
  serve(enable_request(false));
  return serve(enable_request(true));
}

constexpr Scenario all[] = {
    {"StartUpWithConfiguredVlans", machine_with_vlans, starts, true},
    {"StartUpOfANewBlade", new_blade_machine, starts, true},
    {"LineCardComesOnline",
     [] {
       machine_with_vlans();
       start_up();
     },
     line_card_comes_online},
    {"PortsComeAndGo", running, ports_come_and_go},
    {"VlanIsConfigured", running_with_blades, vlan_is_configured},
    {"VlansAreDeleted", running_with_blades, vlans_are_deleted},
    {"ChannelLives", running, channel_lives},
    {"ConfigurationIsShown", running_with_blades, configuration_is_shown},
    {"FramesPass", running_with_blades, frames_pass},
    {"SwitchesAreMoved", running, switches_are_moved},
};

}  // namespace

std::span<const Scenario> scenarios() { return all; }

std::ostream &operator<<(std::ostream &stream, const Scenario &scenario) { return stream << scenario.name; }
