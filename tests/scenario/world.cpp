#include "tests/scenario/world.h"

#include "opal/overseer.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_main.h"
#include "tesk/tesk_vlan.h"
#include "tests/unit/frames.h"

namespace {

constexpr uint32_t last_port = 19;
constexpr uint16_t sol = 4095;
constexpr Mac visitor_mac = {0x02, 0, 0, 0, 0x19, 0x19};

Ending loop() {
  return run([]() -> int { tesk_processing_loop(); });
}

Ending turn(int descriptor) {
  wakes({descriptor});
  return loop();
}

Ending relay(int descriptor, const Bytes &frame) {
  if (!tesk_l2_init_done) return waiting();
  arrives(descriptor, frame);
  return turn(descriptor);
}

/** A frame behind a header that sends it only to the last port, in the SoL VLAN. */
Bytes to_last_port(const Bytes &frame) {
  Bytes whole = {0xfd, 0x3f, 0x00, 0x00, 0x42, 0, 0, 0, 0, 0};
  whole.insert(whole.end(), frame.begin(), frame.end());
  return whole;
}

void expect_frames_pass() {
  const Bytes up = tagged_frame(amm_mac, visitor_mac, sol);
  const Bytes down = tagged_frame(visitor_mac, amm_mac, sol);
  written(sock_mgmt).clear();
  written(sock_inband).clear();
  relay_from_asic(from_asic(last_port, up));
  relay_from_management(down);
  EXPECT_EQ(written(sock_mgmt), std::vector<Bytes>{up}) << "no frame from the blade to the management side";
  EXPECT_EQ(written(sock_inband), std::vector<Bytes>{to_last_port(down)})
      << "no frame from the management side to the blade";
}

void expect_vlans_listed() {
  forget();
  serve(show_cin());
  size_t listed = 0;
  for (const vlan_hash_entry_t *entry : vlan_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      if (entry->vlan == sol) continue;
      ++listed;
      EXPECT_EQ(count_of("cmd_rsp_attr_add(0x14c2000b, " + shown(hex(entry->vlan)) + ", 4)"), 1u)
          << "VLAN " << entry->vlan << " is not listed";
    }
  }
  EXPECT_EQ(count_of("cmd_rsp_send()"), 1u) << "show cin vlans was not answered";
  EXPECT_EQ(count_of_operation("cmd_rsp_attr_add"), listed);
}

}  // namespace

World::World() { ignore_rest(); }

Ending start_up() {
  Ending ending = waiting();
  printed_by([&] { ending = run([] { return tesk_main(0, nullptr); }); });
  return ending;
}

Ending serve(Message message) {
  queue(std::move(message));
  return turn(queue_descriptor);
}

Ending relay_from_asic(const Bytes &frame) { return relay(sock_inband, frame); }

Ending relay_from_management(const Bytes &frame) { return relay(sock_mgmt, frame); }

void save() {
  qbus_msg_ref_t request = hold({.opcode = 0x1});
  overseercb_cfg_write(&request, "startup:", "running:");
}

void serve_what_waits() {
  for (size_t turns = queued_messages(); turns != 0; --turns) turn(queue_descriptor);
  serve(line_card_online());
  serve(enable_request(true));
  turn(sock_inband);
  turn(sock_mgmt);
}

void expect_service() {
  serve_what_waits();
  serve(port_up(ethernet(last_port), {}));
  serve(forwarding(ethernet(last_port), {}));
  expect_frames_pass();
  expect_vlans_listed();
  serve(port_down(ethernet(last_port), {sol}));
}
