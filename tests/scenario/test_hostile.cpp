/* Every message handler with bytes that no correct sender sends: each truncation of a valid payload, each
 * field at its extremes; and frames of every length behind headers of every kind. The daemon stays inside
 * its memory, its tables are sound, it serves what comes next, and it traces that a payload was cut. */
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "opal/cush.h"
#include "opal/ltlsvc.h"
#include "opal/ncfg.h"
#include "opal/portsvc.h"
#include "opal/vlan_mgr.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_qbus.h"
#include "tests/scenario/invariants.h"
#include "tests/scenario/scenarios.h"
#include "tests/scenario/world.h"
#include "tests/unit/frames.h"

namespace {

struct Field {
  size_t offset;
  size_t bytes;
};

/** A message, its vulnerable fields, and whether the daemon traces that it was cut. */
struct Target {
  const char *name;
  uint32_t opcode;
  Bytes (*payload)();                    /**< the bytes to corrupt */
  Message (*with)(const Bytes &payload); /**< the message with corrupt bytes */
  std::vector<Field> fields;
  bool traces_a_cut; /**< otherwise the daemon does not read them, or a library checks the length */
};

std::ostream &operator<<(std::ostream &stream, const Target &target) { return stream << target.name; }

/** Extreme values of a field of this size, in this machine's byte order. */
std::vector<Bytes> extremes(size_t bytes) {
  const uint64_t all = bytes == 8 ? ~UINT64_C(0) : (UINT64_C(1) << bytes * 8) - 1;
  std::vector<Bytes> values;
  for (const uint64_t value : {UINT64_C(0), UINT64_C(1), all, all / 2 + 1, all / 2}) {
    Bytes field(bytes);
    for (size_t i = 0; i < bytes; ++i) {
      const size_t place = std::endian::native == std::endian::little ? i : bytes - 1 - i;
      field[place] = static_cast<uint8_t>(value >> i * 8);
    }
    values.push_back(field);
  }
  return values;
}

Bytes cut(const Bytes &whole, size_t length) {
  return {whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)};
}

template <uint32_t opcode>
Message plain(const Bytes &payload) {
  return {.opcode = opcode, .payload = payload, .is_response = true, .token = 1002};
}

/* ---- payloads of two entries, so that the second one is corrupted as well ---- */

Bytes two_ports() {
  const Bytes first = port_up(ethernet(3), {100, 4095}).payload;
  const Bytes second = port_up(ethernet(6), {200}).payload;
  Payload payload;
  payload.u32(2).bytes({first.begin() + 4, first.end()}).bytes({second.begin() + 4, second.end()});
  return payload;
}

Bytes two_forwarding_sets() {
  const Bytes first = forwarding(ethernet(3), {100}).payload;
  const Bytes second = forwarding(ethernet(4), {}).payload;
  Payload payload;
  payload.u16(2).bytes({first.begin() + 2, first.end()}).bytes({second.begin() + 2, second.end()});
  return payload;
}

std::vector<Field> fields_of_two_ports() {
  std::vector<Field> fields = {{0, 4}};
  for (size_t entry = 0; entry < 2; ++entry) {
    const size_t start = sizeof(uint32_t) + entry * sizeof(portsvc_l2_port_state_t);
    const auto add = [&](size_t offset, size_t bytes) { fields.push_back({start + offset, bytes}); };
    add(offsetof(portsvc_l2_port_state_t, ifindex), 4);
    add(offsetof(portsvc_l2_port_state_t, iod), 4);
    add(offsetof(portsvc_l2_port_state_t, link_state), 1);
    add(offsetof(portsvc_l2_port_state_t, vlan_valid), 1);
    add(offsetof(portsvc_l2_port_state_t, num_active_ports), 4);
    for (const size_t set :
         {offsetof(portsvc_l2_port_state_t, vlan_up_bmp), offsetof(portsvc_l2_port_state_t, vlan_down_bmp)}) {
      add(set, 4);
      add(set + 4, 8);
      add(set + 4 + 504, 8);
    }
  }
  return fields;
}

std::vector<Field> fields_of_two_forwarding_sets() {
  std::vector<Field> fields = {{0, 2}};
  for (const size_t entry : {size_t{2}, size_t{2 + LTLSVC_CBL_ENTRY_BYTES}})
    fields.insert(fields.end(), {{entry, 4}, {entry + 4, 4}, {entry + 8, 8}, {entry + 512, 8}});
  return fields;
}

Bytes deletion_notice() { return vlans_deleted({100, 999, 200}).payload; }

/* ---- commands: the sender chooses their attributes ---- */

constexpr uint32_t interfaces_attribute = 0x0EC20003, vlans_attribute = 0x13030007;

Bytes two_vlan_ranges() { return vlan_ranges({{300, 301}, {310, 310}}); }

Bytes two_interface_ranges() {
  return interface_ranges({{ethernet(3), ethernet(4)}, {ethernet(6), ethernet(6)}});
}

Message add_with(const Bytes &value) { return message_of_command({3, false, {{vlans_attribute, value}}}); }

Message remove_with(const Bytes &value) { return message_of_command({3, true, {{vlans_attribute, value}}}); }

Message counters_with(const Bytes &value) {
  return message_of_command({1, false, {{interfaces_attribute, value}}});
}

/** The fields of the head and of the ranges. The list's unused entries have no meaning. */
std::vector<Field> fields_of_ranges(size_t head) {
  std::vector<Field> fields;
  for (size_t offset = 0; offset < head + 4 * sizeof(uint32_t); offset += 4) fields.push_back({offset, 4});
  return fields;
}

Bytes nothing() { return Bytes(16); }

const std::vector<Target> &targets() {
  static const std::vector<Target> all = {
      {"PortState", QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, two_ports,
       plain<QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE>, fields_of_two_ports(), true},
      {"LineCardOnline", QBUS_OPC_LC_ONLINE, nothing, plain<QBUS_OPC_LC_ONLINE>, {}, false},
      {"Debug",
       QBUS_OPC_TESK_CFGDBG,
       [] { return debug_request(set_request, packets).payload; },
       plain<QBUS_OPC_TESK_CFGDBG>,
       {{0, 4}, {4, 4}, {8, 4}, {NCFG_HEADER_BYTES, 1}, {NCFG_HEADER_BYTES + 1, 1}},
       true},
      {"Enable",
       QBUS_OPC_TESK_CFGENA,
       [] { return enable_request(true).payload; },
       plain<QBUS_OPC_TESK_CFGENA>,
       {{0, 4}, {4, 4}, {8, 4}, {NCFG_HEADER_BYTES, 4}},
       true},
      {"AddCin", QBUS_OPC_TESK_CUSH_TLV, two_vlan_ranges, add_with, fields_of_ranges(8), true},
      {"RemoveCin", QBUS_OPC_TESK_CUSH_TLV, two_vlan_ranges, remove_with, fields_of_ranges(8), true},
      {"ShowCounters", QBUS_OPC_TESK_CUSH_TLV, two_interface_ranges, counters_with, fields_of_ranges(12),
       true},
      {"RedirectionMade", QBUS_OPC_LTLSVC_ALLOC_LTL, nothing, plain<QBUS_OPC_LTLSVC_ALLOC_LTL>, {}, false},
      {"RedirectionReleased",
       QBUS_OPC_LTLSVC_DEALLOC_LTL,
       nothing,
       plain<QBUS_OPC_LTLSVC_DEALLOC_LTL>,
       {},
       false},
      {"VlansDeleted",
       QBUS_OPC_VLAN_MGR_VLANS_DELETED,
       deletion_notice,
       plain<QBUS_OPC_VLAN_MGR_VLANS_DELETED>,
       {{0, 2}, {2, 4}, {6, 4}, {12, 4}, {22, 4}},
       false},
      {"Forwarding", QBUS_OPC_LTLSVC_CBL_CHANGE, two_forwarding_sets, plain<QBUS_OPC_LTLSVC_CBL_CHANGE>,
       fields_of_two_forwarding_sets(), true},
      {"FeatureSet", QBUS_OPC_VLAN_FEAT_CREATE, nothing, plain<QBUS_OPC_VLAN_FEAT_CREATE>, {}, false},
      {"FeatureUnset", QBUS_OPC_VLAN_FEAT_DELETE, nothing, plain<QBUS_OPC_VLAN_FEAT_DELETE>, {}, false},
  };
  return all;
}

size_t errors_traced() {
  return static_cast<size_t>(std::ranges::count(recorded(), Line::Kind::error, &Line::kind));
}

/** Number of bytes that a payload needs; the rest is unused space of a list. */
size_t bytes_needed(const Target &target, const Bytes &whole) {
  const bool is_vlan_list = target.with == add_with || target.with == remove_with;
  return is_vlan_list ? offsetof(cush_int_multi_range_t, range) + 2 * 8 : whole.size();
}

/** Whether the management side still has the SoL VLAN (serial over LAN). A removal may take it as well, and
 * without it the daemon cannot serve. */
bool has_sol() { return tesk_port_has_vlan(&amm_mgmt_port, 4095); }

void expect_alive() {
  expect_invariants();
  if (has_sol()) expect_service();
  expect_invariants();
  forget();
}

/** Checks the tables every time, and that the daemon still serves now and then. */
void expect_alive_after(size_t length) {
  if (length % 32 == 0) return expect_alive();
  expect_invariants();
  forget();
}

class Hostile : public testing::TestWithParam<Target> {};

TEST_P(Hostile, TruncationIsTracedAndHarmless) {
  World world;
  running_with_blades();
  const Bytes whole = GetParam().payload();
  for (size_t length = 0; length < whole.size() && !HasFailure(); ++length) {
    SCOPED_TRACE("cut to " + std::to_string(length) + " bytes");
    forget();
    serve(GetParam().with(cut(whole, length)));
    const bool lacks_bytes = length < bytes_needed(GetParam(), whole);
    EXPECT_TRUE(errors_traced() != 0 || !lacks_bytes || !GetParam().traces_a_cut);
    expect_alive_after(length);
  }
}

TEST_P(Hostile, ExtremeOfAFieldIsHarmless) {
  for (const Field &field : GetParam().fields) {
    for (const Bytes &value : extremes(field.bytes)) {
      SCOPED_TRACE("bytes from " + std::to_string(field.offset) + " are " +
                   shown_bytes(value.data(), value.size()));
      World world;
      running_with_blades();
      Bytes spoilt = GetParam().payload();
      std::ranges::copy(value, spoilt.begin() + static_cast<ptrdiff_t>(field.offset));
      printed_by([&] { serve(GetParam().with(spoilt)); });
      expect_alive();
      if (HasFailure()) return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Payloads, Hostile, testing::ValuesIn(targets()),
                         [](const auto &target) { return std::string(target.param.name); });

/** A daemon with blades on ports 3 and 4. */
class HostileNumber : public testing::Test {
 protected:
  void SetUp() override { running_with_blades(); }

  World world;
};

constexpr uint32_t numbers[] = {0, 1, 0x7fffffff, 0x80000000, 0xffffffff};

TEST_F(HostileNumber, AsTokenOfAnAnswerIsHarmless) {
  for (const uint32_t token : numbers) {
    for (const bool is_response : {false, true}) {
      for (const uint32_t opcode : {QBUS_OPC_LTLSVC_ALLOC_LTL, QBUS_OPC_LTLSVC_DEALLOC_LTL})
        serve({.opcode = opcode, .is_response = is_response, .token = token});
      expect_alive();
    }
  }
}

TEST_F(HostileNumber, AsCommandOrAsKindOfConfigurationIsHarmless) {
  for (const uint32_t number : numbers) {
    serve(message_of_command({.id = number}));
    for (const uint32_t other : numbers)
      serve(message_of_generation({{0, 100, 4095}, static_cast<int>(number), static_cast<int>(other)}));
    expect_alive();
  }
}

TEST_F(HostileNumber, AsOpcodeIsTraced) {
  for (const uint32_t opcode : numbers) {
    forget();
    serve({.opcode = opcode, .payload = Bytes(4)});
    EXPECT_EQ(errors_traced(), 1u);
    expect_alive();
  }
}

TEST(HostilePayload, ReachesEveryHandler) {
  for (const tesk_qbus_msg_attribute_t &row : tesk_qbus_info_arr) {
    const bool is_generation = row.opcode == generation_opcode;  // a library reads it; its numbers: above
    EXPECT_TRUE(is_generation || std::ranges::count(targets(), row.opcode, &Target::opcode) != 0)
        << row.opcode;
  }
}

/* ---- frames ---- */

using HostileFrame = HostileNumber;

TEST_F(HostileFrame, OfAnyLengthIsHarmless) {
  for (size_t length = 0; length <= 2574 && !HasFailure(); ++length) {
    SCOPED_TRACE(std::to_string(length) + " bytes");
    const Bytes down = cut(tagged_frame(blade_mac, amm_mac, 100, 2574), length);
    const Bytes up = cut(from_asic(3, tagged_frame(amm_mac, blade_mac, 100, 2574)), length);
    relay_from_asic(up);
    relay_from_management(down);
    expect_alive_after(length);
  }
}

TEST_F(HostileFrame, LongerThanTheBufferIsCut) {
  written(sock_inband).clear();
  relay_from_management(tagged_frame(blade_mac, amm_mac, 100, 9000));
  ASSERT_EQ(written(sock_inband).size(), 1u);
  EXPECT_EQ(written(sock_inband).front().size(), 2584u);
  expect_alive();
}

TEST_F(HostileFrame, BehindAHeaderWithAnExtremeFieldIsHarmless) {
  const Bytes frame = tagged_frame(amm_mac, blade_mac, 100);
  for (size_t position = 0; position < 10 + 18; ++position) {
    for (int value = 0; value < 256; ++value) {
      Bytes whole = from_asic(3, frame);
      whole[position] = static_cast<uint8_t>(value);
      relay_from_asic(whole);
    }
    expect_alive();
  }
}

TEST_F(HostileFrame, FromAnyPortOrInAnyVlanIsHarmless) {
  for (unsigned port = 0; port < 32; ++port)
    relay_from_asic(from_asic(static_cast<uint8_t>(port), tagged_frame(amm_mac, blade_mac, 100)));
  for (unsigned vlan = 0; vlan < 4096; ++vlan) {
    relay_from_asic(from_asic(3, tagged_frame(amm_mac, blade_mac, static_cast<uint16_t>(vlan))));
    relay_from_management(tagged_frame(blade_mac, amm_mac, static_cast<uint16_t>(vlan)));
  }
  expect_alive();
}

}  // namespace
