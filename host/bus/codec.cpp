#include "host/bus/codec.h"

#include <algorithm>

namespace opal::bus {
namespace {

constexpr std::size_t value_alignment = 8;
constexpr std::uint32_t command_version = 1;

static_assert(sizeof(ltlsvc_port_cbl_t) == LTLSVC_CBL_ENTRY_BYTES);
static_assert(sizeof(std::uint16_t) == LTLSVC_CBL_ENTRIES_OFFSET);
static_assert(sizeof(vlan_delete_notif_local_t) == 10);

void write_attributes(Writer &writer, const std::vector<AttributeView> &attributes) {
  for (const AttributeView &attribute : attributes) {
    writer.record(
        Attribute{attribute.id, static_cast<std::uint32_t>(attribute.value.size()), attribute.kind, 0});
    writer.bytes(attribute.value, value_alignment);
  }
}

/// Reads exactly `count` attributes, which must end the payload.
std::optional<std::vector<AttributeView>> read_attributes(Reader &reader, std::uint32_t count) {
  std::vector<AttributeView> attributes;
  for (std::uint32_t index = 0; index < count; ++index) {
    const std::optional<Attribute> head = reader.record<Attribute>();
    if (!head) return std::nullopt;
    const std::optional<Bytes> value = reader.bytes(head->length, value_alignment);
    if (!value) return std::nullopt;
    attributes.push_back({head->id, head->kind, *value});
  }
  if (!reader.at_end()) return std::nullopt;
  return attributes;
}

template <typename Record>
void write_records(Writer &writer, std::span<const Record> records) {
  for (const Record &record : records) writer.record(record);
}

/// Reads exactly `count` records, which must end the payload.
template <typename Record>
std::optional<std::vector<Record>> read_records(Reader &reader, std::uint32_t count) {
  if (reader.rest().size() / sizeof(Record) != count || reader.rest().size() % sizeof(Record) != 0)
    return std::nullopt;
  std::vector<Record> records(count);
  std::ranges::generate(records, [&] { return *reader.record<Record>(); });
  return records;
}

/// Reads a 16 or 32-bit count and the records that it counts.
template <typename Count, typename Record>
std::optional<std::vector<Record>> read_counted(Bytes payload) {
  Reader reader(payload);
  const std::optional<Count> count = reader.record<Count>();
  if (!count) return std::nullopt;
  return read_records<Record>(reader, *count);
}

template <typename Count, typename Record>
Payload write_counted(std::span<const Record> records) {
  Writer writer;
  writer.record(static_cast<Count>(records.size()));
  write_records(writer, records);
  return writer.take();
}

}  // namespace

std::optional<Bytes> Reader::bytes(std::size_t count, std::size_t alignment) {
  if (count > rest_.size()) return std::nullopt;
  const std::size_t padding = (alignment - count % alignment) % alignment;
  if (padding > rest_.size() - count) return std::nullopt;
  const Bytes taken = rest_.first(count);
  rest_ = rest_.subspan(count + padding);
  return taken;
}

Writer &Writer::bytes(Bytes bytes, std::size_t alignment) {
  payload_.insert(payload_.end(), bytes.begin(), bytes.end());
  const std::size_t padding = (alignment - bytes.size() % alignment) % alignment;
  payload_.insert(payload_.end(), padding, std::byte{0});
  return *this;
}

Payload encode_command(const CommandView &command) {
  Writer writer;
  writer.record(Command{command_version, command.id, command.is_del ? 1u : 0u,
                        static_cast<std::uint32_t>(command.attributes.size())});
  write_attributes(writer, command.attributes);
  return writer.take();
}

std::optional<CommandView> decode_command(Bytes payload) {
  Reader reader(payload);
  const std::optional<Command> head = reader.record<Command>();
  if (!head || head->version != command_version || head->is_del > 1) return std::nullopt;
  std::optional<std::vector<AttributeView>> attributes = read_attributes(reader, head->attribute_count);
  if (!attributes) return std::nullopt;
  return CommandView{head->id, head->is_del == 1, std::move(*attributes)};
}

Payload encode_command_answer(const CommandAnswerView &answer) {
  Writer writer;
  writer.record(CommandAnswer{command_version, answer.ok ? 0u : 1u,
                              static_cast<std::uint32_t>(answer.text.size()),
                              static_cast<std::uint32_t>(answer.attributes.size())});
  writer.bytes(bytes_of_text(answer.text), value_alignment);
  write_attributes(writer, answer.attributes);
  return writer.take();
}

std::optional<CommandAnswerView> decode_command_answer(Bytes payload) {
  Reader reader(payload);
  const std::optional<CommandAnswer> head = reader.record<CommandAnswer>();
  if (!head || head->version != command_version || head->status > 1) return std::nullopt;
  const std::optional<Bytes> text = reader.bytes(head->text_length, value_alignment);
  if (!text) return std::nullopt;
  std::optional<std::vector<AttributeView>> attributes = read_attributes(reader, head->attribute_count);
  if (!attributes) return std::nullopt;
  return CommandAnswerView{head->status == 0, text_of_bytes(*text), std::move(*attributes)};
}

Payload encode_generated(const GeneratedView &generated) {
  Writer writer;
  Generated head = generated.head;
  head.line_count = static_cast<std::uint32_t>(generated.lines.size());
  writer.record(head);
  for (const ConfigLineView &line : generated.lines) {
    writer.record(GeneratedLine{line.vlan, line.indent, static_cast<std::uint32_t>(line.text.size())});
    writer.bytes(bytes_of_text(line.text), value_alignment);
  }
  return writer.take();
}

std::optional<GeneratedView> decode_generated(Bytes payload) {
  Reader reader(payload);
  const std::optional<Generated> head = reader.record<Generated>();
  if (!head) return std::nullopt;
  GeneratedView generated{*head, {}};
  for (std::uint32_t index = 0; index < head->line_count; ++index) {
    const std::optional<GeneratedLine> line = reader.record<GeneratedLine>();
    if (!line) return std::nullopt;
    const std::optional<Bytes> text = reader.bytes(line->length, value_alignment);
    if (!text) return std::nullopt;
    generated.lines.push_back({line->vlan, line->indent, text_of_bytes(*text)});
  }
  if (!reader.at_end()) return std::nullopt;
  return generated;
}

Payload encode_config_text(const ConfigTextView &config) {
  Writer writer;
  writer.record(ConfigText{config.rcode, static_cast<std::uint32_t>(config.text.size())});
  writer.bytes(bytes_of_text(config.text));
  return writer.take();
}

std::optional<ConfigTextView> decode_config_text(Bytes payload) {
  Reader reader(payload);
  const std::optional<ConfigText> head = reader.record<ConfigText>();
  if (!head || head->length != reader.rest().size()) return std::nullopt;
  return ConfigTextView{head->rcode, text_of_bytes(reader.rest())};
}

Payload encode_feature_vlans(const FeatureVlansView &feature) {
  Writer writer;
  writer.record(FeatureVlans{feature.feature, static_cast<std::uint32_t>(feature.vlans.size())});
  write_records(writer, std::span<const std::int32_t>(feature.vlans));
  return writer.take();
}

std::optional<FeatureVlansView> decode_feature_vlans(Bytes payload) {
  Reader reader(payload);
  const std::optional<FeatureVlans> head = reader.record<FeatureVlans>();
  if (!head) return std::nullopt;
  std::optional<std::vector<std::int32_t>> vlans = read_records<std::int32_t>(reader, head->count);
  if (!vlans) return std::nullopt;
  return FeatureVlansView{head->feature, std::move(*vlans)};
}

Payload encode_vlans_deleted(std::span<const vlan_delete_notif_local_t> records) {
  return write_counted<std::uint32_t>(records);
}

std::optional<std::vector<vlan_delete_notif_local_t>> decode_vlans_deleted(Bytes payload) {
  return read_counted<std::uint32_t, vlan_delete_notif_local_t>(payload);
}

Payload encode_l2_state_change(std::span<const portsvc_l2_port_state_t> ports) {
  return write_counted<std::uint32_t>(ports);
}

std::optional<std::vector<portsvc_l2_port_state_t>> decode_l2_state_change(Bytes payload) {
  return read_counted<std::uint32_t, portsvc_l2_port_state_t>(payload);
}

Payload encode_cbl_change(std::span<const ltlsvc_port_cbl_t> ports) {
  return write_counted<std::uint16_t>(ports);
}

std::optional<std::vector<ltlsvc_port_cbl_t>> decode_cbl_change(Bytes payload) {
  return read_counted<std::uint16_t, ltlsvc_port_cbl_t>(payload);
}

Payload encode_parse_trees(std::uint32_t rcode, std::span<const ParseTree> trees) {
  Writer writer;
  writer.record(ParseTrees{rcode, static_cast<std::uint32_t>(trees.size())});
  write_records(writer, trees);
  return writer.take();
}

std::optional<std::vector<ParseTree>> decode_parse_trees(Bytes payload) {
  Reader reader(payload);
  const std::optional<ParseTrees> head = reader.record<ParseTrees>();
  if (!head || head->rcode != 0) return std::nullopt;
  return read_records<ParseTree>(reader, head->count);
}

}  // namespace opal::bus
