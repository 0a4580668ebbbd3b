// Messages between the platform's services on the host, and their wire format.
//
// One message is one Unix datagram: a 32-byte header, then the payload. Both ends run on one machine,
// so numbers are in host byte order. A receiver never parses a datagram that is shorter than the header,
// has the wrong length word, version or magic, or comes from another user. It counts the datagram, logs
// one line, and drops it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

namespace opal::bus {

/// Where a queue is bound: node and service access point, 0 being the local node.
struct Address {
  std::uint32_t node = 0;
  std::uint32_t sap = 0;
  friend bool operator==(const Address &, const Address &) = default;
  friend auto operator<=>(const Address &, const Address &) = default;
};

/// What a message is to its receiver.
enum class Kind : std::uint16_t { request = 1, response = 2, notice = 4 };

inline constexpr std::uint32_t magic = 0x71627573;  // "qbus"
inline constexpr std::uint16_t version = 1;

/// Largest payload in bytes; a state notice of all ports and a configuration of all VLANs fit.
inline constexpr std::size_t payload_limit = 128 * 1024;

struct Header {
  std::uint32_t magic;
  std::uint16_t version;
  Kind kind;
  std::uint32_t opcode;
  std::uint32_t token;   ///< pairs a response with its request; chosen by the requester, 0 in notices
  Address source;        ///< where a response goes
  std::uint32_t length;  ///< bytes of payload
  std::uint32_t reserved;
};
static_assert(sizeof(Header) == 32);

/// A received message; owns its payload.
struct Message {
  Kind kind = Kind::notice;
  std::uint32_t opcode = 0;
  std::uint32_t token = 0;
  Address source;
  std::vector<std::byte> payload;
};

/// View of a trivially copyable record as payload bytes.
template <typename Record>
std::span<const std::byte> bytes_of(const Record &record) {
  static_assert(std::is_trivially_copyable_v<Record>);
  return std::as_bytes(std::span(&record, 1));
}

}  // namespace opal::bus
