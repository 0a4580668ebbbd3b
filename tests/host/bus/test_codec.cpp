#include "host/bus/codec.h"

#include <gtest/gtest.h>

#include <functional>

namespace opal::bus {
namespace {

std::vector<std::uint8_t> octets(const Payload &payload) {
  std::vector<std::uint8_t> result;
  for (const std::byte byte : payload) result.push_back(std::to_integer<std::uint8_t>(byte));
  return result;
}

TEST(Codec, ACommandOnTheWire) {
  const std::uint32_t value = 0x11223344;
  const std::uint8_t odd[] = {9, 8, 7};
  const Payload payload = encode_command(
      {3,
       true,
       {{0x13030007, AttributeKind::value, bytes_of(value)}, {1, AttributeKind::value, bytes_of(odd)}}});
  const std::vector<std::uint8_t> expected = {
      1,    0,    0,    0,    3, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0,  // version, id, "no" form, attributes
      0x07, 0x00, 0x03, 0x13, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // id, length, kind
      0x44, 0x33, 0x22, 0x11, 0, 0, 0, 0,                          // value, padding
      1,    0,    0,    0,    3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
      9,    8,    7,    0,    0, 0, 0, 0};
  EXPECT_EQ(octets(payload), expected);
}

TEST(Codec, ACommandComesBackAsItWent) {
  const std::uint32_t value = 42;
  const std::uint8_t odd[] = {9, 8, 7};
  const Payload payload = encode_command(
      {3, true, {{7, AttributeKind::value, bytes_of(value)}, {1, AttributeKind::value, bytes_of(odd)}}});
  const std::optional<CommandView> command = decode_command(payload);
  ASSERT_TRUE(command);
  EXPECT_EQ(command->id, 3u);
  EXPECT_TRUE(command->is_del);
  ASSERT_EQ(command->attributes.size(), 2u);
  EXPECT_EQ(command->attributes[0].id, 7u);
  EXPECT_EQ(record_of<std::uint32_t>(command->attributes[0].value), 42u);
  EXPECT_EQ(command->attributes[1].value.size(), 3u);
  EXPECT_EQ((command->attributes[1].value.data() - payload.data()) % 8, 0);
}

TEST(Codec, AnAnswerOnTheWireAndBack) {
  const std::uint32_t range[] = {5, 9};
  const Payload payload = encode_command_answer(
      {false, "no such VLAN", {{0x13030007, AttributeKind::rejected_range, bytes_of(range)}}});
  const std::vector<std::uint8_t> expected = {
      1,    0,    0,    0,    1,   0,   0,   0,
      12,   0,    0,    0,    1,   0,   0,   0,  // version, nok, text, attributes
      'n',  'o',  ' ',  's',  'u', 'c', 'h', ' ',
      'V',  'L',  'A',  'N',  0,   0,   0,   0,  //
      0x07, 0x00, 0x03, 0x13, 8,   0,   0,   0,
      1,    0,    0,    0,    0,   0,   0,   0,  //
      5,    0,    0,    0,    9,   0,   0,   0};
  EXPECT_EQ(octets(payload), expected);
  const std::optional<CommandAnswerView> answer = decode_command_answer(payload);
  ASSERT_TRUE(answer);
  EXPECT_FALSE(answer->ok);
  EXPECT_EQ(answer->text, "no such VLAN");
  ASSERT_EQ(answer->attributes.size(), 1u);
  EXPECT_EQ(answer->attributes[0].kind, AttributeKind::rejected_range);
}

TEST(Codec, GeneratedLinesOnTheWireAndBack) {
  GeneratedView generated;
  generated.head.uuid = 738;
  generated.lines = {{10, 1, "cin\n"}, {4094, 1, "no cin\n"}};
  const Payload payload = encode_generated(generated);
  const std::vector<std::uint8_t> sent = octets(payload);
  ASSERT_EQ(sent.size(), sizeof(Generated) + 32);
  const std::vector<std::uint8_t> expected = {10,   0, 1,   0,   4,   0,    0,    0,   'c',  'i', 'n',
                                              '\n', 0, 0,   0,   0,   0xfe, 0x0f, 1,   0,    7,   0,
                                              0,    0, 'n', 'o', ' ', 'c',  'i',  'n', '\n', 0};
  EXPECT_EQ(std::vector<std::uint8_t>(sent.end() - 32, sent.end()), expected);
  const std::optional<GeneratedView> back = decode_generated(payload);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->head.line_count, 2u);
  EXPECT_EQ(back->lines[1].vlan, 4094);
  EXPECT_EQ(back->lines[1].text, "no cin\n");
}

TEST(Codec, VlansDeletedHaveTenByteRecords) {
  const vlan_delete_notif_local_t records[] = {{0x0102, 100, 7}, {3, -1, 0}};
  const Payload payload = encode_vlans_deleted(records);
  const std::vector<std::uint8_t> expected = {2, 0, 0, 0, 2,    1,    100,  0,    0, 0, 7, 0,
                                              0, 0, 3, 0, 0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0};
  EXPECT_EQ(octets(payload), expected);
  EXPECT_EQ((*decode_vlans_deleted(payload))[1].vlan_id, -1);
}

TEST(Codec, ForwardingStatesStandAtOffsetTwoInEntriesOf520Bytes) {
  ltlsvc_port_cbl_t port{0x1a000002, {VLAN_BITSET_BYTES, {}}};
  port.vlan_cbl_bmp.bits[12] = 0x10;  // VLAN 100
  const Payload payload = encode_cbl_change(std::span(&port, 1));
  ASSERT_EQ(payload.size(), 522u);
  const std::vector<std::uint8_t> sent = octets(payload);
  EXPECT_EQ(std::vector<std::uint8_t>(sent.begin(), sent.begin() + 10),
            (std::vector<std::uint8_t>{1, 0, 2, 0, 0, 0x1a, 0, 2, 0, 0}));
  EXPECT_EQ(sent[10 + 12], 0x10);
  EXPECT_EQ(decode_cbl_change(payload)->front().if_idx, 0x1a000002u);
}

TEST(Codec, FeatureVlansOnTheWireAndBack) {
  const Payload payload = encode_feature_vlans({4, {100, 101}});
  EXPECT_EQ(octets(payload), (std::vector<std::uint8_t>{4, 0, 0, 0, 2, 0, 0, 0, 100, 0, 0, 0, 101, 0, 0, 0}));
  EXPECT_EQ(decode_feature_vlans(payload)->vlans, (std::vector<std::int32_t>{100, 101}));
}

TEST(Codec, AFixedTextIsCutAndTerminated) {
  char field[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(text_of(field), "xxxx");
  set_text(field, "tesk");
  EXPECT_EQ(text_of(field), "tes");
}

/// One payload of each kind and its decoder.
struct Variable {
  const char *what;
  Payload payload;
  std::function<bool(Bytes)> decodes;
  std::vector<std::size_t> counts;  ///< offsets of the words that count or measure what follows
};

std::vector<Variable> variables() {
  const std::uint32_t word = 1;
  const std::uint8_t odd[] = {9, 8, 7};
  const std::vector<AttributeView> attributes = {{7, AttributeKind::value, bytes_of(word)},
                                                 {1, AttributeKind::value, bytes_of(odd)}};
  const vlan_delete_notif_local_t deleted[2]{};
  const portsvc_l2_port_state_t ports[2]{};
  const ltlsvc_port_cbl_t forwarding[2]{};
  const ParseTree trees[2]{};
  return {{"Command",
           encode_command({1, false, attributes}),
           [](Bytes bytes) { return decode_command(bytes).has_value(); },
           {12, 20}},
          {"CommandAnswer",
           encode_command_answer({true, "text", attributes}),
           [](Bytes bytes) { return decode_command_answer(bytes).has_value(); },
           {8, 12, 28}},
          {"Generated",
           encode_generated({{}, {{10, 1, "cin\n"}, {11, 1, "no cin\n"}}}),
           [](Bytes bytes) { return decode_generated(bytes).has_value(); },
           {4, 164}},
          {"ConfigText",
           encode_config_text({0, "vlan 10\n"}),
           [](Bytes bytes) { return decode_config_text(bytes).has_value(); },
           {4}},
          {"FeatureVlans",
           encode_feature_vlans({4, {1, 2, 3}}),
           [](Bytes bytes) { return decode_feature_vlans(bytes).has_value(); },
           {4}},
          {"VlansDeleted",
           encode_vlans_deleted(deleted),
           [](Bytes bytes) { return decode_vlans_deleted(bytes).has_value(); },
           {0}},
          {"L2StateChange",
           encode_l2_state_change(ports),
           [](Bytes bytes) { return decode_l2_state_change(bytes).has_value(); },
           {0}},
          {"CblChange",
           encode_cbl_change(forwarding),
           [](Bytes bytes) { return decode_cbl_change(bytes).has_value(); },
           {0}},
          {"ParseTrees",
           encode_parse_trees(0, trees),
           [](Bytes bytes) { return decode_parse_trees(bytes).has_value(); },
           {4}}};
}

TEST(Codec, EveryTruncationAndEveryExcessIsRefused) {
  for (const Variable &variable : variables()) {
    ASSERT_TRUE(variable.decodes(variable.payload)) << variable.what;
    for (std::size_t size = 0; size < variable.payload.size(); ++size) {
      // A heap block of exactly this size, so that a sanitizer sees a read past the end.
      const Payload cut(variable.payload.begin(),
                        variable.payload.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_FALSE(variable.decodes(cut)) << variable.what << " cut to " << size;
    }
    Payload longer = variable.payload;
    longer.resize(longer.size() + 8);
    EXPECT_FALSE(variable.decodes(longer)) << variable.what;
  }
}

TEST(Codec, CountsAndLengthsThatDisagreeAreRefused) {
  for (const Variable &variable : variables()) {
    for (const std::size_t offset : variable.counts) {
      for (const int change : {-1, 1, 64, 255}) {
        Payload changed = variable.payload;
        changed[offset] = static_cast<std::byte>(std::to_integer<int>(changed[offset]) + change);
        changed[offset + 1] = change == 255 ? std::byte{0xff} : changed[offset + 1];
        // Within the padding of a value, a changed length is still a well-formed payload.
        const bool within_padding = variable.decodes(changed) && (change == 1 || change == -1);
        EXPECT_TRUE(within_padding || !variable.decodes(changed))
            << variable.what << " " << offset << " " << change;
      }
    }
  }
}

TEST(Codec, AForeignVersionOfACommandIsRefused) {
  Payload command = encode_command({1, false, {}});
  command[0] = std::byte{2};
  EXPECT_FALSE(decode_command(command));
  Payload answer = encode_command_answer({true, "", {}});
  answer[4] = std::byte{2};
  EXPECT_FALSE(decode_command_answer(answer));
}

}  // namespace
}  // namespace opal::bus
