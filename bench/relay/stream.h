// A stream of frames through a relay, in one direction: sends frames, receives them again and checks each.
//
// Frames are sent in bursts of `window`, faster than a relay reads them. The next burst is sent when the last
// one is received back. So a relay never runs out of work in the middle of a burst, and its speed relative to
// the generator does not decide how often it waits. The generator polls for frames without sleeping, so that
// no relay pays for waking it. A window never exceeds a relay's receive buffer, because the kernel would drop
// frames before the relay sees them. A missing, duplicate, changed or reordered frame makes the run invalid:
// it ends with a Failure.
//
// In a stream that a relay must reject, every 64th frame is a good one, the only kind that may come out. When
// it comes out, the frames before it have been read.
#pragma once

#include <array>
#include <chrono>
#include <optional>

#include "bench/relay/wire.h"

namespace bench {

enum class Direction {
  to_asic,  ///< from the management device to the in-band device
  to_host   ///< from the in-band device to the management device
};
const char *direction_name(Direction direction);

/// Why a relay must reject the frames.
enum class Rejection { none, wrong_vlan, untagged, not_member };

/// Whether a burst waits for the last one, or each frame that comes back is replaced at once.
enum class Pace { bursts, steady };

struct Load {
  Direction direction = Direction::to_asic;
  std::size_t frame_bytes = 64;  ///< size of the Ethernet frame without its frame check sequence
  std::uint32_t frames = 0;
  std::uint32_t window = 128;
  Pace pace = Pace::bursts;
  bool flood = false;               ///< floods instead of addressing stations
  std::uint32_t first_station = 0;  ///< to the ASIC: destinations; to the host: sources
  std::uint32_t stations = 1;       ///< number of stations that take turns
  Rejection rejection = Rejection::none;
};

/// The largest window up to `limit` that fits into a socket's receive buffer.
std::uint32_t fitting_window(std::uint32_t limit, std::size_t frame_bytes);

/// Size of the good frames in a stream of rejected ones; the rejected frames are longer.
inline constexpr std::size_t good_frame_bytes = frame_bytes_min;

class Stream {
 public:
  Stream(const Wire &wire, const Load &load);

  /// Sends a burst if one is due, and receives the frames that are ready. Never waits.
  /// @return whether it did anything
  bool step();
  /// Send one frame, and receive one that came out: for one frame at a time. @return whether it was possible
  bool send_one();
  bool take_one();

  bool done() const { return taken_ == load_.frames; }
  std::uint32_t sent() const { return sent_; }
  std::uint32_t taken() const { return taken_; }  ///< number of frames known to have been relayed or rejected
  int way_out() const { return way_out_; }

 private:
  struct Prepared {
    Bytes bytes;
    std::size_t frame_at = 0, number_at = 0;
  };

  bool is_good(std::uint32_t number) const { return (number + 1) % stride_ == 0; }
  const Prepared &sent_frame(std::uint32_t number);
  void address(Prepared &prepared, std::uint32_t number) const;
  const Bytes &expected_frame(std::uint32_t number);

  Load load_;
  Shape shape_;
  int entrance_, way_out_;
  std::uint32_t stride_;
  Prepared good_, rejected_, expected_;
  std::array<Bytes, asic_ports> headers_;  ///< for a frame to each port, and for a flood
  Bytes flood_header_;
  std::uint32_t sent_ = 0;
  std::uint32_t taken_ = 0;
  std::array<std::byte, 4096> buffer_{};
};

/// Runs a stream until its end. @return how long it took
std::chrono::nanoseconds run_load(const Wire &wire, const Load &load);

/// Sends frames until one comes out, for a relay that may still be starting. @return when it came; nothing if
/// the deadline passed first
std::optional<std::chrono::steady_clock::time_point> await_first_frame(
    const Wire &wire, std::chrono::steady_clock::time_point deadline);

}  // namespace bench
