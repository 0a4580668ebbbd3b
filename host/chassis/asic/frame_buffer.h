// Room for one frame from a wire, with the ASIC header's place in front and padding behind.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "host/chassis/asic/ethernet.h"
#include "host/chassis/asic/fabric.h"

namespace chassis {

class FrameBuffer {
 public:
  /// Where a frame is read to that carries its tag.
  std::span<std::byte> tagged_place() { return std::span(bytes_).subspan(asic_header_bytes); }
  /// Where a frame is read to that gets its tag afterwards.
  std::span<std::byte> untagged_place() { return std::span(bytes_).subspan(asic_header_bytes + tag_bytes); }

  /// The header's place and the tagged frame of `length` bytes, padded to the wire's minimum unless it is a
  /// runt that no real stack sends.
  std::span<std::byte> finish(std::size_t length) {
    if (length >= tagged_header_bytes && length < wire_frame_min) {
      std::fill_n(tagged_place().begin() + static_cast<std::ptrdiff_t>(length), wire_frame_min - length,
                  std::byte{0});
      length = wire_frame_min;
    }
    return std::span(bytes_).first(asic_header_bytes + length);
  }

 private:
  std::array<std::byte, 4096> bytes_{};
};

}  // namespace chassis
