// Tagged Ethernet frames, byte by byte: destination (6), source (6), 0x8100, tag control (2), type, payload.
//
// No function checks the length: the caller makes sure that the bytes to be read exist.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "host/chassis/base/numbers.h"

namespace chassis {

inline constexpr std::size_t mac_pair_bytes = 12;
inline constexpr std::size_t ethernet_header_bytes = 14;
inline constexpr std::size_t tag_bytes = 4;
inline constexpr std::size_t tagged_header_bytes = ethernet_header_bytes + tag_bytes;

using FrameView = std::span<const std::byte>;

/// Whether the destination is a group address (multicast, broadcast). Needs 1 byte.
inline bool is_group(FrameView frame) { return (frame[0] & std::byte{1}) != std::byte{0}; }

/// Whether the frame carries an 802.1Q tag. Needs tagged_header_bytes.
inline bool has_tag(FrameView frame) {
  return frame[mac_pair_bytes] == std::byte{0x81} && frame[mac_pair_bytes + 1] == std::byte{0x00};
}

/// The VLAN of a tagged frame, 0 to 4095. Needs tagged_header_bytes.
inline VlanId tag_vlan(FrameView frame) {
  return {static_cast<std::uint16_t>((std::to_integer<unsigned>(frame[mac_pair_bytes + 2]) << 8 |
                                      std::to_integer<unsigned>(frame[mac_pair_bytes + 3])) &
                                     0x0fff)};
}

/// Puts a tag into an untagged frame that begins tag_bytes after the start of `buffer`. It moves the frame's
/// addresses to the start of the buffer. @param control priority and VLAN
inline void insert_tag(std::span<std::byte> buffer, std::uint16_t control) {
  std::memmove(buffer.data(), buffer.data() + tag_bytes, mac_pair_bytes);
  const std::array<std::byte, tag_bytes> tag{std::byte{0x81}, std::byte{0x00},
                                             static_cast<std::byte>(control >> 8),
                                             static_cast<std::byte>(control & 0xff)};
  std::memcpy(buffer.data() + mac_pair_bytes, tag.data(), tag.size());
}

}  // namespace chassis
