// A buffer for one frame from a wire, with space for the ASIC header before it and for padding after it.
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
  /// Where to read a tagged frame.
  std::span<std::byte> tagged_place() { return std::span(bytes_).subspan(asic_header_bytes); }
  /// Where to read an untagged frame, which gets its tag afterwards.
  std::span<std::byte> untagged_place() { return std::span(bytes_).subspan(asic_header_bytes + tag_bytes); }

  /// The space for the header and the tagged frame of `length` bytes. The frame is padded to the wire's
  /// minimum, except a runt, which no real stack sends.
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
