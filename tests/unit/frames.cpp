#include "tests/unit/frames.h"

#include <algorithm>

using standin::Bytes;

namespace {

Bytes filled(const Mac &destination, const Mac &source, size_t size) {
  Bytes frame(size);
  for (size_t i = 0; i < size; ++i) frame[i] = static_cast<uint8_t>(i);
  std::copy(destination.begin(), destination.end(), frame.begin());
  std::copy(source.begin(), source.end(), frame.begin() + 6);
  return frame;
}

}  // namespace

Bytes tagged_frame(const Mac &destination, const Mac &source, uint16_t vlan, size_t size) {
  Bytes frame = filled(destination, source, size);
  frame[12] = 0x81;
  frame[13] = 0x00;
  frame[14] = static_cast<uint8_t>(0xf0 | vlan >> 8);
  frame[15] = static_cast<uint8_t>(vlan);
  return frame;
}

Bytes untagged_frame(const Mac &destination, const Mac &source, size_t size) {
  Bytes frame = filled(destination, source, size);
  frame[12] = 0x08;
  frame[13] = 0x00;
  return frame;
}

Bytes from_asic(uint8_t ingress_port, const Bytes &frame) {
  Bytes whole(10 + frame.size());
  whole[1] = 0x01;
  whole[2] = 0x20;
  whole[3] = static_cast<uint8_t>((ingress_port & 0x03) << 6);
  whole[4] = static_cast<uint8_t>(ingress_port >> 2);
  std::copy(frame.begin(), frame.end(), whole.begin() + 10);
  return whole;
}
