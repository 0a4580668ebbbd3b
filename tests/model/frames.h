/* Frames of a sequence as they are on the wire, byte by byte. */
#pragma once

#include <algorithm>
#include <iterator>

#include "tests/model/event.h"
#include "tests/model/state.h"
#include "tests/standin/address_patterns.h"

namespace model {

inline Mac station(uint16_t number) {
  if (number == broadcast_station) return {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
  if (number == group_station) return {0x01, 0x00, 0x5e, 0, 0, 0x05};
  return address_patterns[number / stations_of_a_pattern % std::size(address_patterns)].address(
      number % stations_of_a_pattern);
}

/** The frame, with a to-host header in front if it comes from the ASIC. */
inline Bytes bytes_of(const Frame &frame) {
  Bytes bytes(frame.size);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7 + frame.source);
  Bytes head;
  for (const uint8_t byte : station(frame.destination)) head.push_back(byte);
  for (const uint8_t byte : station(frame.source)) head.push_back(byte);
  const uint16_t type = frame.is_tagged ? 0x8100 : 0x0800;
  head.insert(head.end(), {static_cast<uint8_t>(type >> 8), static_cast<uint8_t>(type),
                           static_cast<uint8_t>(0xa0 | frame.vlan >> 8), static_cast<uint8_t>(frame.vlan)});
  std::copy_n(head.begin(), std::min(head.size(), bytes.size()), bytes.begin());
  if (!frame.is_inband) return bytes;
  const auto flags = static_cast<uint8_t>(0x3e | (frame.has_ce ? 0x01 : 0x00));
  const auto tags = static_cast<uint8_t>(0xc0 | (frame.says_tagged ? 0x20 : 0x00));
  const auto ingress_low = static_cast<uint8_t>((frame.ingress & 0x03) << 6 | 0x3f);
  const auto ingress_high = static_cast<uint8_t>(0xf8 | frame.ingress >> 2);
  const Bytes header = {0x5a, flags, tags, ingress_low, ingress_high, 0, 0, 0, 0x12, 0x34};
  bytes.insert(bytes.begin(), header.begin(), header.end());
  return bytes;
}

inline std::vector<Frame> frames_of(const StationsAppear &stations) {
  std::vector<Frame> frames;
  for (uint16_t i = 0; i < stations.count; ++i) {
    const auto source = static_cast<uint16_t>(stations.first + i);
    frames.push_back(
        {.is_inband = true, .vlan = stations.vlan, .source = source, .ingress = stations.ingress});
  }
  return frames;
}

}  // namespace model
