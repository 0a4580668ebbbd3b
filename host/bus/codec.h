// Encoders and decoders of bus payloads with variable length. services.h defines their records.
//
// Every decoder receives bytes from another process. It never reads past the payload, whatever counts
// and lengths the payload holds. It returns nothing when they disagree with the payload's size or when
// bytes are left over. Decoded values are views into the payload, which must outlive them.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "host/bus/services.h"

namespace opal::bus {

using Payload = std::vector<std::byte>;
using Bytes = std::span<const std::byte>;

/// Reads records and bytes from a payload, front to back.
class Reader {
 public:
  explicit Reader(Bytes payload) : rest_(payload) {}

  template <typename Record>
  std::optional<Record> record() {
    static_assert(std::is_trivially_copyable_v<Record>);
    if (rest_.size() < sizeof(Record)) return std::nullopt;
    Record record;
    std::memcpy(&record, rest_.data(), sizeof record);
    rest_ = rest_.subspan(sizeof record);
    return record;
  }

  /// Reads `count` bytes and skips their padding to a multiple of `alignment`.
  std::optional<Bytes> bytes(std::size_t count, std::size_t alignment = 1);

  Bytes rest() const { return rest_; }
  bool at_end() const { return rest_.empty(); }

 private:
  Bytes rest_;
};

/// Builds a payload, front to back.
class Writer {
 public:
  template <typename Record>
  Writer &record(const Record &record) {
    return bytes(bytes_of(record));
  }
  /// Appends bytes, then zeros up to a multiple of `alignment`.
  Writer &bytes(Bytes bytes, std::size_t alignment = 1);
  Payload take() { return std::move(payload_); }

 private:
  Payload payload_;
};

/// @return the payload as one record; nothing when its size is not exactly the record's
template <typename Record>
std::optional<Record> record_of(Bytes payload) {
  static_assert(std::is_trivially_copyable_v<Record>);
  if (payload.size() != sizeof(Record)) return std::nullopt;
  return Reader(payload).record<Record>();
}

/// @return the text in a fixed field, up to its NUL or the field's end
template <std::size_t size>
std::string_view text_of(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

/// Writes `text` to a fixed field. Cuts it to fit with its NUL and fills the rest with zeros.
template <std::size_t size>
void set_text(char (&field)[size], std::string_view text) {
  const std::size_t length = text.size() < size ? text.size() : size - 1;
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), length);
}

inline Bytes bytes_of_text(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}
inline std::string_view text_of_bytes(Bytes bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

/// One attribute of a shell command or its answer.
struct AttributeView {
  std::uint32_t id = 0;
  AttributeKind kind = AttributeKind::value;
  Bytes value;
};

struct CommandView {
  std::uint32_t id = 0;
  bool is_del = false;
  std::vector<AttributeView> attributes;
};
Payload encode_command(const CommandView &command);
std::optional<CommandView> decode_command(Bytes payload);

struct CommandAnswerView {
  bool ok = true;
  std::string_view text;
  std::vector<AttributeView> attributes;
};
Payload encode_command_answer(const CommandAnswerView &answer);
std::optional<CommandAnswerView> decode_command_answer(Bytes payload);

/// One line of a program's configuration, under the key line of its VLAN.
struct ConfigLineView {
  std::uint16_t vlan = 0;
  std::uint16_t indent = 0;
  std::string_view text;  ///< with its line end
};
struct GeneratedView {
  Generated head{};  ///< its line_count is the size of `lines`
  std::vector<ConfigLineView> lines;
};
Payload encode_generated(const GeneratedView &generated);
std::optional<GeneratedView> decode_generated(Bytes payload);

struct ConfigTextView {
  std::uint32_t rcode = 0;
  std::string_view text;
};
Payload encode_config_text(const ConfigTextView &config);
std::optional<ConfigTextView> decode_config_text(Bytes payload);

struct FeatureVlansView {
  std::uint32_t feature = 0;
  std::vector<std::int32_t> vlans;
};
Payload encode_feature_vlans(const FeatureVlansView &feature);
std::optional<FeatureVlansView> decode_feature_vlans(Bytes payload);

Payload encode_vlans_deleted(std::span<const vlan_delete_notif_local_t> records);
std::optional<std::vector<vlan_delete_notif_local_t>> decode_vlans_deleted(Bytes payload);

Payload encode_l2_state_change(std::span<const portsvc_l2_port_state_t> ports);
std::optional<std::vector<portsvc_l2_port_state_t>> decode_l2_state_change(Bytes payload);

Payload encode_cbl_change(std::span<const ltlsvc_port_cbl_t> ports);
std::optional<std::vector<ltlsvc_port_cbl_t>> decode_cbl_change(Bytes payload);

Payload encode_parse_trees(std::uint32_t rcode, std::span<const ParseTree> trees);
/// @return the trees; nothing for a malformed payload or an answer whose rcode is not 0
std::optional<std::vector<ParseTree>> decode_parse_trees(Bytes payload);

}  // namespace opal::bus
