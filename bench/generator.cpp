#include "bench/generator.h"

#include <fmt/core.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>

#include "host/chassis/failure.h"
#include "opal/kestrix_th_fh_hdr.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::byte>;
using Mac = std::array<std::uint8_t, 6>;

constexpr int lost_after_ms = 1000;
constexpr int probe_pause_ms = 1;
constexpr std::size_t number_offset = 18;  ///< behind the addresses, the tag and the type
constexpr std::uint16_t sol_vlan = 4095;
constexpr std::uint8_t ingress_port = 0;

constexpr Mac amm{0x02, 0, 0, 0, 0, 1};
constexpr Mac station{0x02, 0, 0, 0, 1, 1};
constexpr Mac broadcast{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

Bytes ethernet_frame(const Mac &destination, const Mac &source, std::size_t bytes) {
  constexpr std::array<std::uint8_t, 6> tag_and_type{0x81, 0x00, sol_vlan >> 8, sol_vlan & 0xff, 0x88, 0xb5};
  Bytes frame(bytes);
  std::memcpy(frame.data(), destination.data(), destination.size());
  std::memcpy(frame.data() + 6, source.data(), source.size());
  std::memcpy(frame.data() + 12, tag_and_type.data(), tag_and_type.size());
  return frame;
}

Bytes to_host_header() {
  kestrix_th_hdr_t header;
  kestrix_th_clear(&header);
  kestrix_th_set_ce(&header);
  kestrix_th_set_tagged(&header);
  kestrix_th_set_ingress_plid(&header, ingress_port);
  kestrix_th_set_vlan(&header, sol_vlan);
  Bytes bytes(sizeof header);
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes;
}

/// What is written to a device: packet information, header if any, frame.
Bytes datagram(const Bytes &header, const Bytes &frame) {
  Bytes bytes(prefix_bytes);
  write_prefix(bytes);
  bytes.insert(bytes.end(), header.begin(), header.end());
  bytes.insert(bytes.end(), frame.begin(), frame.end());
  return bytes;
}

/// One direction: where frames go in and come out, and what stands in front of them there.
struct Path {
  int entrance = -1;
  int way_out = -1;
  Bytes sent;
  std::size_t sent_frame_at = 0;
  std::size_t came_frame_at = 0;
};

Path path_of(const DevicePair &devices, const Load &load) {
  const std::size_t behind_header = prefix_bytes + KESTRIX_HDR_BYTES;
  if (load.direction == Direction::to_asic) {
    return {devices.management.get(), devices.inband.get(),
            datagram({}, ethernet_frame(station, amm, load.frame_bytes)), prefix_bytes, behind_header};
  }
  return {devices.inband.get(), devices.management.get(),
          datagram(to_host_header(), ethernet_frame(amm, station, load.frame_bytes)), behind_header,
          prefix_bytes};
}

/// What the kernel charges a receive buffer for a frame, at most: its room is up to twice its length, and
/// its record comes on top.
std::size_t charge_of(std::size_t frame_bytes) { return 2 * frame_bytes + 1024; }

bool wait_readable(int descriptor, int timeout_ms) {
  pollfd waiting{descriptor, POLLIN, 0};
  return poll(&waiting, 1, timeout_ms) > 0;
}

class Run {
 public:
  Run(const DevicePair &devices, const Load &load) : load_(load), path_(path_of(devices, load)) {}

  Carried run() {
    const auto start = Clock::now();
    while (carried_.frames + carried_.lost < load_.frames) {
      fill_window();
      empty_to(load_.window / 2);
    }
    carried_.elapsed = Clock::now() - start;
    return carried_;
  }

 private:
  std::uint32_t on_the_way() const { return sent_ - carried_.frames - carried_.lost; }

  void fill_window() {
    while (sent_ < load_.frames && on_the_way() < load_.window && send_one()) {
    }
  }

  bool send_one() {
    std::memcpy(path_.sent.data() + path_.sent_frame_at + number_offset, &sent_, sizeof sent_);
    if (write(path_.entrance, path_.sent.data(), path_.sent.size()) < 0) {
      if (errno == EAGAIN || errno == ENOBUFS) {
        return false;
      }
      throw chassis::Failure(fmt::format("a frame cannot be written: {}", std::strerror(errno)));
    }
    ++sent_;
    return true;
  }

  /// Takes frames back until at most `left` are on their way, or the others are lost.
  void empty_to(std::uint32_t left) {
    const std::uint32_t goal = sent_ == load_.frames ? 0 : left;
    while (on_the_way() > goal) {
      if (!take_one() && !wait_readable(path_.way_out, lost_after_ms)) {
        carried_.lost += on_the_way();
        expected_ = sent_;
      }
    }
  }

  bool take_one() {
    const ssize_t length = read(path_.way_out, buffer_.data(), buffer_.size());
    if (length < 0) {
      if (errno == EAGAIN) {
        return false;
      }
      throw chassis::Failure(fmt::format("a frame cannot be read: {}", std::strerror(errno)));
    }
    check(std::span(buffer_).first(static_cast<std::size_t>(length)));
    return true;
  }

  void check(std::span<const std::byte> came) {
    const auto frame = came.subspan(std::min(path_.came_frame_at, came.size()));
    const std::span<const std::byte> sent = std::span(path_.sent).subspan(path_.sent_frame_at);
    std::uint32_t number = 0;
    const bool whole = has_relay_prefix(came) && frame.size() == sent.size();
    if (whole) {
      std::memcpy(&number, frame.data() + number_offset, sizeof number);
    }
    const std::size_t payload = number_offset + sizeof number;
    if (!whole || !std::equal(frame.begin(), frame.begin() + number_offset, sent.begin()) ||
        !std::equal(frame.begin() + static_cast<std::ptrdiff_t>(payload), frame.end(),
                    sent.begin() + static_cast<std::ptrdiff_t>(payload))) {
      throw chassis::Failure(fmt::format("a frame of {} bytes came back changed", came.size()));
    }
    if (number < expected_ || number >= sent_) {
      return;  // given up before
    }
    carried_.lost += number - expected_;
    expected_ = number + 1;
    ++carried_.frames;
  }

  Load load_;
  Path path_;
  Carried carried_;
  std::uint32_t sent_ = 0;
  std::uint32_t expected_ = 0;
  std::array<std::byte, 4096> buffer_{};
};

}  // namespace

std::uint32_t fitting_window(std::uint32_t limit, std::size_t frame_bytes) {
  const opal::bus::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  int buffer_bytes = 0;
  socklen_t length = sizeof buffer_bytes;
  getsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &buffer_bytes, &length);
  const std::size_t fits = static_cast<std::size_t>(buffer_bytes) / charge_of(frame_bytes);
  return std::max(2u, std::min(limit, static_cast<std::uint32_t>(fits)));
}

const char *direction_name(Direction direction) {
  return direction == Direction::to_asic ? "to ASIC" : "to host";
}

Carried run_load(const DevicePair &devices, const Load &load) { return Run(devices, load).run(); }

std::optional<Clock::time_point> await_first_frame(const DevicePair &devices, Clock::time_point deadline) {
  const Bytes probe = datagram({}, ethernet_frame(broadcast, amm, frame_bytes_min));
  std::array<std::byte, 4096> buffer{};
  while (Clock::now() < deadline) {
    (void)!write(devices.management.get(), probe.data(), probe.size());
    if (wait_readable(devices.inband.get(), probe_pause_ms)) {
      const auto came = Clock::now();
      while (wait_readable(devices.inband.get(), probe_pause_ms)) {
        (void)!read(devices.inband.get(), buffer.data(), buffer.size());
      }
      return came;
    }
  }
  return std::nullopt;
}

}  // namespace bench
