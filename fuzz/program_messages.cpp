// Messages that reach a program's queue from other processes, through the platform library.
//
// After an even first byte, the input is a datagram as on the bus. After an odd one, it is the payload of a
// message with one of the daemon's opcodes. What arrives goes to every operation that reads messages.
#include <cstring>
#include <memory>

#include "fuzz/fuzz.h"
#include "host/bus/codec.h"
#include "opal/cush.h"
#include "opal/portsvc.h"
#include "opal/rcgen.h"
#include "opal/vlan_mgr.h"
#include "tests/host/bus/raw_socket.h"
#include "tests/host/opal/program.h"

namespace {

namespace bus = opal::bus;

constexpr std::uint32_t opcodes[] = {bus::opcode::cush_command, QBUS_OPC_VLAN_MGR_VLANS_DELETED,
                                     QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE};
constexpr std::uint32_t attributes[] = {0x13030007, 0x0EC20003, 0};

void look_into_command(const qbus_msg_ref_t &message) {
  const std::size_t room = cmd_req_handle_get_1(&message);
  const auto scratch = std::make_unique<std::byte[]>(room);
  cmd_rx_handle_t *handle = cmd_req_handle_get_2(&message, scratch.get());
  if (handle == nullptr) return;
  (void)cmd_req_action_is_del(handle);
  for (const std::uint32_t attribute : attributes) {
    void *value = nullptr;
    std::uint32_t length = 0;
    if (cmd_req_attr_get(handle, attribute, &value, &length) == 0) fuzz::read_all(value, length);
  }
  while (cmd_req_cmdId_getnext(handle) != 0) {
  }
}

void look_into_request_for_text(const qbus_msg_ref_t &message) {
  vlan_bitset_t vlans{};
  vlans.size = VLAN_BITSET_BYTES;
  (void)rcgen_req_vlan_list_get(&message, &vlans);
  (void)rcgen_cfg_type_get(&message);
  (void)rcgen_cfg_display_type_get(&message);
  if (const char *prefix = rcgen_startup_cfg_uri_prefix_get(&message)) (void)std::strlen(prefix);
}

void look_into_notice(const qbus_msg_ref_t &message) {
  vlan_delete_notif_local_t *records = nullptr;
  std::uint32_t count = 0;
  if (vlan_mgr_parse_notification_msg_local(&message, &records, &count) != 0) return;
  fuzz::read_all(records, count * sizeof *records);
  std::free(records);
}

void look_into(const qbus_msg_ref_t &message) {
  fuzz::read_all(qbus_payload_get(&message), qbus_payload_size_get(&message));
  look_into_command(message);
  look_into_request_for_text(message);
  look_into_notice(message);
}

/// Puts one datagram into the queue, whatever its contents.
void send_datagram(std::span<const std::byte> bytes) {
  static const host::Descriptor raw = bus::raw_socket();
  (void)bus::raw_send(raw, opal::test::run_folder() / "bus" / "0.721", bytes);
}

void send_payload(std::uint8_t choice, std::span<const std::byte> payload) {
  static bus::Socket sender = opal::test::bind({0, 95});
  constexpr bus::Kind kinds[] = {bus::Kind::request, bus::Kind::response, bus::Kind::notice};
  (void)sender.send(bus::address::tesk, kinds[choice / 8 % 3], opcodes[choice / 2 % std::size(opcodes)], 12,
                    payload);
}

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  const std::uint32_t number = 100;
  const cush_int_multi_range_t list{0, 1, {{100, 105}}};
  const vlan_delete_notif_local_t deleted[2] = {};
  const bus::Header header{
      bus::magic, bus::version, bus::Kind::request, bus::opcode::cush_command, 1, {0, 95}, 4, 0};
  bus::Payload datagram = bus::Writer().record(header).record(number).take();
  return {chosen(0, datagram),
          chosen(1, bus::encode_command(
                        {3, true, {{0x13030007, bus::AttributeKind::value, bus::bytes_of(list)}}})),
          chosen(3, bus::encode_vlans_deleted(deleted))};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const qbus_queue_t queue = opal::test::queue();
  if (size == 0) return 0;
  const auto rest = fuzz::bytes(data + 1, size - 1);
  if (data[0] % 2 == 0) {
    send_datagram(rest);
  } else {
    send_payload(data[0], rest);
  }
  qbus_msg_ref_t message{};
  while (qbus_recv(queue, &message, 0) == 0) {
    look_into(message);
    qbus_drop(queue, &message);
  }
  return 0;
}
