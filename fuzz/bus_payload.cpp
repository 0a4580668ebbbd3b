// Payloads of the message bus that vary in length.
//
// The first byte chooses the decoder. What a decoder accepts is encoded again; the decoder must accept the
// result, and encoding it once more must give the same bytes.
#include "fuzz/fuzz.h"
#include "host/bus/codec.h"

namespace {

namespace bus = opal::bus;

template <typename Decode, typename Encode>
void decode_and_encode(bus::Bytes payload, Decode decode, Encode encode) {
  const auto taken = decode(payload);
  if (!taken) return;
  const bus::Payload written = encode(*taken);
  const auto again = decode(written);
  fuzz::must(again.has_value(), "what was written can be read");
  fuzz::must(encode(*again) == written, "what was read is written the same");
}

using Door = void (*)(bus::Bytes);
constexpr Door doors[] = {
    [](bus::Bytes payload) { decode_and_encode(payload, bus::decode_command, bus::encode_command); },
    [](bus::Bytes payload) {
      decode_and_encode(payload, bus::decode_command_answer, bus::encode_command_answer);
    },
    [](bus::Bytes payload) { decode_and_encode(payload, bus::decode_generated, bus::encode_generated); },
    [](bus::Bytes payload) { decode_and_encode(payload, bus::decode_config_text, bus::encode_config_text); },
    [](bus::Bytes payload) {
      decode_and_encode(payload, bus::decode_feature_vlans, bus::encode_feature_vlans);
    },
    [](bus::Bytes payload) {
      decode_and_encode(payload, bus::decode_vlans_deleted,
                        [](const auto &records) { return bus::encode_vlans_deleted(records); });
    },
    [](bus::Bytes payload) {
      decode_and_encode(payload, bus::decode_l2_state_change,
                        [](const auto &ports) { return bus::encode_l2_state_change(ports); });
    },
    [](bus::Bytes payload) {
      decode_and_encode(payload, bus::decode_cbl_change,
                        [](const auto &ports) { return bus::encode_cbl_change(ports); });
    },
    [](bus::Bytes payload) {
      decode_and_encode(payload, bus::decode_parse_trees,
                        [](const auto &trees) { return bus::encode_parse_trees(0, trees); });
    },
};

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  const std::uint32_t number = 100;
  const bus::Bytes word = bus::bytes_of(number);
  const vlan_delete_notif_local_t deleted[2] = {};
  const portsvc_l2_port_state_t ports[2] = {};
  const ltlsvc_port_cbl_t forwarding[2] = {};
  const bus::ParseTree trees[2] = {};
  return {chosen(0, bus::encode_command({3, true, {{1, bus::AttributeKind::value, word}}})),
          chosen(1, bus::encode_command_answer({false, "why not", {{2, bus::AttributeKind::value, word}}})),
          chosen(2, bus::encode_generated({{}, {{100, 2, "cin\n"}, {200, 2, "cin\n"}}})),
          chosen(3, bus::encode_config_text({0, "vlan 100\n  cin\n"})),
          chosen(4, bus::encode_feature_vlans({4, {100, 200}})),
          chosen(5, bus::encode_vlans_deleted(deleted)),
          chosen(6, bus::encode_l2_state_change(ports)),
          chosen(7, bus::encode_cbl_change(forwarding)),
          chosen(8, bus::encode_parse_trees(0, trees))};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size != 0) doors[data[0] % std::size(doors)](fuzz::bytes(data + 1, size - 1));
  return 0;
}
