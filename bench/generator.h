// Makes the frames that a relay carries, and takes them back on the other side.
//
// At most `window` frames are on their way at a time; when half of them have come back, the window is
// filled again, so that the relay finds work whenever it looks. A window is never larger than what a
// relay's receive buffer holds, or the kernel would drop frames that the relay never saw. Each frame carries
// its number: one that is missing, cut, changed or out of order is seen. Frames that do not come within a
// bound are lost.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "bench/device_pair.h"

namespace bench {

enum class Direction {
  to_asic,  ///< from the management device to the in-band device, to one learnt station
  to_host   ///< from the in-band device to the management device
};
const char *direction_name(Direction direction);

struct Load {
  Direction direction = Direction::to_asic;
  std::size_t frame_bytes = 64;  ///< of the Ethernet frame, without frame check sequence
  std::uint32_t frames = 0;
  std::uint32_t window = 128;
};

struct Carried {
  std::uint32_t frames = 0;  ///< that came back
  std::uint32_t lost = 0;
  std::chrono::nanoseconds elapsed{};
};

/// Smallest frame that carries its number.
inline constexpr std::size_t frame_bytes_min = 60;
inline constexpr std::size_t frame_bytes_max = 1522;

/// The largest window up to `limit` that fits a socket's receive buffer.
std::uint32_t fitting_window(std::uint32_t limit, std::size_t frame_bytes);

/// Sends a load through the relay on these devices. Throws chassis::Failure for a frame that came back
/// changed.
Carried run_load(const DevicePair &devices, const Load &load);

/// Sends frames until one comes out, for a relay that may not yet be there. @return when it came; nothing
/// when the deadline came first
std::optional<std::chrono::steady_clock::time_point> await_first_frame(
    const DevicePair &devices, std::chrono::steady_clock::time_point deadline);

}  // namespace bench
