// All that reaches the daemon, in any order: messages, commands, requests for text, frames, saves.
//
// After each event the daemon's tables must be sound (tests/scenario/invariants.h); at the end all memory
// must be freed. An input is a sequence of events: one byte for the kind, two bytes of length, and the
// contents.
#include <gtest/gtest.h>

#include <algorithm>

#include "fuzz/fuzz.h"
#include "opal/ltlsvc.h"
#include "opal/ncfg.h"
#include "opal/portsvc.h"
#include "opal/vlan_mgr.h"
#include "tesk/tesk_qbus.h"
#include "tests/scenario/invariants.h"
#include "tests/scenario/scenarios.h"
#include "tests/scenario/world.h"
#include "tests/unit/frames.h"

namespace {

constexpr std::size_t events_limit = 24;
constexpr std::uint32_t vlans_attribute = 0x13030007, interfaces_attribute = 0x0EC20003;
constexpr std::uint32_t opcodes[] = {QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE,
                                     QBUS_OPC_LTLSVC_CBL_CHANGE,
                                     QBUS_OPC_VLAN_MGR_VLANS_DELETED,
                                     QBUS_OPC_LTLSVC_ALLOC_LTL,
                                     QBUS_OPC_LTLSVC_DEALLOC_LTL,
                                     QBUS_OPC_TESK_CFGDBG,
                                     QBUS_OPC_TESK_CFGENA,
                                     QBUS_OPC_LC_ONLINE,
                                     QBUS_OPC_VLAN_FEAT_CREATE,
                                     QBUS_OPC_VLAN_FEAT_DELETE,
                                     0x1234};

enum Kind : std::uint8_t {
  a_message,
  a_command,
  a_request_for_text,
  a_frame_up,
  a_frame_down,
  a_save,
  kinds
};

/// Ends the program when an assertion fails, so that the fuzzer keeps the input.
class FailureAborts : public testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult &result) override {
    if (result.failed()) fuzz::must(false, result.message());
  }
};

void send_message(fuzz::Parts &parts) {
  Message sent;
  sent.opcode = opcodes[parts.number<std::uint8_t>() % std::size(opcodes)];
  sent.is_response = parts.number<std::uint8_t>() != 0;
  sent.token = 1000U + parts.number<std::uint8_t>();
  sent.payload = parts.bytes(SIZE_MAX);
  serve(sent);
}

void send_command(fuzz::Parts &parts) {
  const auto id = parts.number<std::uint8_t>() % 5U;
  const bool is_del = parts.number<std::uint8_t>() % 2 != 0;
  const std::uint32_t attribute =
      parts.number<std::uint8_t>() % 2 != 0 ? vlans_attribute : interfaces_attribute;
  serve(message_of_command({id, is_del, {{attribute, parts.bytes(SIZE_MAX)}}}));
}

void ask_for_text(fuzz::Parts &parts) {
  const auto type = parts.number<std::int32_t>();
  const auto display = parts.number<std::int32_t>();
  std::vector<std::uint32_t> vlans;
  while (!parts.at_end()) vlans.push_back(parts.number<std::uint16_t>() % 4096U);
  serve(message_of_generation({vlans, type, display}));
}

void happen(std::uint8_t kind, fuzz::Parts event) {
  switch (kind % kinds) {
    case a_message:
      return send_message(event);
    case a_command:
      return send_command(event);
    case a_request_for_text:
      return ask_for_text(event);
    case a_frame_up:
      relay_from_asic(event.bytes(SIZE_MAX));
      return;
    case a_frame_down:
      relay_from_management(event.bytes(SIZE_MAX));
      return;
    default:
      return save();
  }
}

fuzz::Input event(std::uint8_t kind, const Bytes &content) {
  fuzz::Input written = {kind, static_cast<std::uint8_t>(content.size()),
                         static_cast<std::uint8_t>(content.size() >> 8)};
  written.insert(written.end(), content.begin(), content.end());
  return written;
}

fuzz::Input message_event(const Message &sent) {
  const auto place = std::find(std::begin(opcodes), std::end(opcodes), sent.opcode) - std::begin(opcodes);
  Bytes content = {static_cast<std::uint8_t>(place), sent.is_response,
                   static_cast<std::uint8_t>(sent.token - 1000)};
  content.insert(content.end(), sent.payload.begin(), sent.payload.end());
  return event(a_message, content);
}

fuzz::Input command_event(std::uint8_t id, bool is_del, bool has_vlans, const Bytes &value) {
  Bytes content = {id, is_del, has_vlans};
  content.insert(content.end(), value.begin(), value.end());
  return event(a_command, content);
}

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  const Bytes asked = {0, 0, 0, 0, 1, 0, 0, 0, 100, 0, 200, 0};
  return {message_event(port_up(ethernet(5), {100, 300})),
          message_event(port_down(ethernet(3), {100, 4095})),
          message_event(forwarding(ethernet(3), {100})),
          message_event(vlans_deleted({100, 200})),
          message_event(redirection_made(1002)),
          message_event(redirection_released(1002)),
          message_event(debug_request(set_request, packets)),
          message_event(enable_request(false)),
          message_event(line_card_online()),
          command_event(3, false, true, vlan_ranges({{300, 301}})),
          command_event(3, true, true, vlan_ranges({{100, 100}})),
          command_event(1, false, false, interface_ranges({{ethernet(3), ethernet(4)}})),
          command_event(2, false, false, {}),
          event(a_request_for_text, asked),
          event(a_frame_up, from_asic(3, tagged_frame(amm_mac, blade_mac, 100))),
          event(a_frame_down, tagged_frame(blade_mac, amm_mac, 100)),
          event(a_save, {})};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const bool is_listening = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new FailureAborts);
    return true;
  }();
  fuzz::must(is_listening, "assertions are listened to");
  const World world;
  running_with_blades();
  fuzz::Parts parts(data, size);
  printed_by([&] {
    for (std::size_t events = 0; events < events_limit && !parts.at_end(); ++events) {
      const auto kind = parts.number<std::uint8_t>();
      const fuzz::Input content = parts.bytes(parts.number<std::uint16_t>());
      happen(kind, {content.data(), content.size()});
      expect_invariants();
      forget();
    }
  });
  return 0;
}
