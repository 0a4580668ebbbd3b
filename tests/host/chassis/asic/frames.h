// Frames for the tests, written out byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace chassis::test {

using Bytes = std::vector<std::byte>;

inline Bytes bytes(std::initializer_list<int> values) {
  Bytes result;
  for (const int value : values) result.push_back(static_cast<std::byte>(value));
  return result;
}

inline Bytes operator+(Bytes left, const Bytes &right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

/// A tagged frame of `length` bytes; to a group address when `group`.
inline Bytes tagged_frame(std::uint16_t vlan, bool group = false, std::size_t length = 60) {
  Bytes frame = bytes({group ? 0x01 : 0x02, 0, 0x5e, 0, 0, 1, 0x02, 0, 0, 0, 11, 1, 0x81, 0x00, vlan >> 8,
                       vlan & 0xff, 0x08, 0x00});
  frame.resize(length, std::byte{0xa5});
  return frame;
}

/// From-host header of VLAN 100 with CE and tags-present; the LTL's 20 bits as given.
inline Bytes from_host_header(std::uint32_t ltl, std::uint16_t vlan = 100) {
  return bytes({(vlan << 2 & 0xff) | 1, static_cast<int>((ltl & 3) << 6) | vlan >> 6,
                static_cast<int>(ltl >> 2 & 0xff), static_cast<int>(ltl >> 10 & 0xff),
                static_cast<int>(0x40 | (ltl >> 18 & 3)), 0, 0, 0, 0, 0});
}

}  // namespace chassis::test
