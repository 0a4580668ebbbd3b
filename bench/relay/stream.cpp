#include "bench/relay/stream.h"

#include <fmt/core.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "bench/relay/failure.h"
#include "opal/kestrix_th_fh_hdr.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds lost_after{2};
constexpr int probe_pause_ms = 1;
constexpr std::uint32_t rejected_stride = 64;
constexpr std::uint32_t all_ports = (1u << asic_ports) - 1;

/// The most that the kernel charges a receive buffer for a frame: up to twice its length for the data, and a
/// record on top.
std::size_t charge_of(std::size_t frame_bytes) { return 2 * frame_bytes + 1024; }

bool wait_readable(int descriptor, int timeout_ms) {
  pollfd waiting{descriptor, POLLIN, 0};
  return poll(&waiting, 1, timeout_ms) > 0;
}

void append(Bytes &bytes, const Bytes &more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

std::uint16_t vlan_of(Rejection rejection) {
  const bool foreign = rejection == Rejection::wrong_vlan || rejection == Rejection::not_member;
  return foreign ? foreign_vlan : sol_vlan;
}

Bytes frame_of(Shape shape, Rejection rejection, std::size_t bytes) {
  if (shape == Shape::ethernet || rejection == Rejection::untagged) {
    return untagged_frame(bytes);
  }
  return tagged_frame(vlan_of(rejection), bytes);
}

/// The bytes that the generator puts in front of a frame.
Bytes front_of_sent(Shape shape, Direction direction, Rejection rejection) {
  if (shape == Shape::ethernet) {
    return {};
  }
  Bytes front = packet_information();
  if (direction == Direction::to_host) {
    append(front, to_host_header(0, vlan_of(rejection), rejection != Rejection::untagged));
  }
  return front;
}

/// The bytes expected in front of a frame that comes out. The header's bytes are filled in for each frame.
Bytes front_of_expected(Shape shape, Direction direction) {
  if (shape == Shape::ethernet) {
    return {};
  }
  Bytes front = packet_information();
  if (direction == Direction::to_asic) {
    front.resize(front.size() + KESTRIX_HDR_BYTES);
  }
  return front;
}

}  // namespace

std::uint32_t fitting_window(std::uint32_t limit, std::size_t frame_bytes) {
  const host::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  int buffer_bytes = 0;
  socklen_t length = sizeof buffer_bytes;
  getsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &buffer_bytes, &length);
  const std::size_t fits = static_cast<std::size_t>(buffer_bytes) / charge_of(frame_bytes);
  return std::max(2u, std::min(limit, static_cast<std::uint32_t>(fits)));
}

const char *direction_name(Direction direction) {
  return direction == Direction::to_asic ? "to ASIC" : "to host";
}

Stream::Stream(const Wire &wire, const Load &load)
    : load_(load),
      shape_(wire.shape),
      entrance_(load.direction == Direction::to_asic ? wire.management.get() : wire.inband.get()),
      way_out_(load.direction == Direction::to_asic ? wire.inband.get() : wire.management.get()),
      stride_(load.rejection == Rejection::none ? 1 : rejected_stride) {
  const std::size_t good_bytes = load.rejection == Rejection::none ? load.frame_bytes : good_frame_bytes;
  const std::size_t number_at = shape_ == Shape::ethernet ? number_in_untagged : number_in_tagged;
  const auto prepare = [&](Bytes front, Rejection rejection, std::size_t bytes) {
    Prepared prepared{std::move(front), 0, 0};
    prepared.frame_at = prepared.bytes.size();
    prepared.number_at = prepared.frame_at + number_at;
    append(prepared.bytes, frame_of(shape_, rejection, bytes));
    return prepared;
  };
  good_ = prepare(front_of_sent(shape_, load.direction, Rejection::none), Rejection::none, good_bytes);
  rejected_ =
      prepare(front_of_sent(shape_, load.direction, load.rejection), load.rejection, load.frame_bytes);
  expected_ = prepare(front_of_expected(shape_, load.direction), Rejection::none, good_bytes);
  for (std::uint8_t port = 0; port < asic_ports; ++port) {
    headers_[port] = from_host_header(1u << port, false);
  }
  flood_header_ = from_host_header(all_ports, true);
}

/// Fills in a frame's addresses and number and, towards the host, its ingress port.
void Stream::address(Prepared &prepared, std::uint32_t number) const {
  const std::uint32_t turn = load_.first_station + number % load_.stations;
  const std::span<std::byte> frame = std::span(prepared.bytes).subspan(prepared.frame_at);
  const bool to_asic = load_.direction == Direction::to_asic;
  set_destination(frame, !to_asic ? amm : load_.flood ? everyone : station(turn));
  set_source(frame, to_asic ? amm : station(turn));
  std::memcpy(prepared.bytes.data() + prepared.number_at, &number, sizeof number);
}

const Stream::Prepared &Stream::sent_frame(std::uint32_t number) {
  Prepared &prepared = is_good(number) ? good_ : rejected_;
  address(prepared, number);
  if (load_.direction == Direction::to_host && shape_ != Shape::ethernet) {
    auto *header = reinterpret_cast<kestrix_th_hdr_t *>(prepared.bytes.data() + packet_information_bytes);
    kestrix_th_set_ingress_plid(header, port_of_station(load_.first_station + number % load_.stations));
  }
  return prepared;
}

const Bytes &Stream::expected_frame(std::uint32_t number) {
  address(expected_, number);
  if (load_.direction == Direction::to_asic && shape_ == Shape::daemon) {
    const std::uint8_t port = port_of_station(load_.first_station + number % load_.stations);
    const Bytes &header = load_.flood ? flood_header_ : headers_[port];
    std::copy(header.begin(), header.end(), expected_.bytes.begin() + packet_information_bytes);
  }
  return expected_.bytes;
}

bool Stream::send_one() {
  const Prepared &prepared = sent_frame(sent_);
  if (write(entrance_, prepared.bytes.data(), prepared.bytes.size()) < 0) {
    if (errno == EAGAIN || errno == ENOBUFS) {
      return false;
    }
    throw Failure(fmt::format("a frame cannot be written: {}", std::strerror(errno)));
  }
  ++sent_;
  return true;
}

bool Stream::take_one() {
  const ssize_t length = read(way_out_, buffer_.data(), buffer_.size());
  if (length < 0) {
    if (errno == EAGAIN) {
      return false;
    }
    throw Failure(fmt::format("a frame cannot be read: {}", std::strerror(errno)));
  }
  const std::uint32_t number = taken_ + stride_ - 1;
  const auto came = std::span(buffer_).first(static_cast<std::size_t>(length));
  const Bytes &expected = expected_frame(number);
  // The kernel sets the flags of the packet information, so they are not compared.
  const std::ptrdiff_t flags = shape_ == Shape::ethernet ? 0 : 2;
  if (number >= sent_ || came.size() != expected.size() ||
      !std::equal(came.begin() + flags, came.end(), expected.begin() + flags)) {
    std::uint32_t came_number = 0;
    if (came.size() >= expected_.number_at + sizeof came_number) {
      std::memcpy(&came_number, came.data() + expected_.number_at, sizeof came_number);
    }
    throw Failure(fmt::format(
        "invalid run: where frame {} of {} bytes was due, one of {} bytes came out that says it is "
        "frame {}; a frame was lost, doubled, overtaken or changed",
        number, expected.size(), came.size(), came_number));
  }
  taken_ = number + 1;
  return true;
}

bool Stream::step() {
  bool moved = false;
  if (sent_ == taken_ || load_.pace == Pace::steady) {
    while (sent_ < load_.frames && sent_ - taken_ < load_.window && send_one()) {
      moved = true;
    }
  }
  while (sent_ != taken_ && take_one()) {
    moved = true;
  }
  return moved;
}

std::chrono::nanoseconds run_load(const Wire &wire, const Load &load) {
  Stream stream(wire, load);
  const auto start = Clock::now();
  auto moved = start;
  while (!stream.done()) {
    if (stream.step()) {
      moved = Clock::now();
    } else if (Clock::now() - moved > lost_after) {
      throw Failure(fmt::format("invalid run: of {} frames {}, {} were lost", load.frames,
                                direction_name(load.direction), stream.sent() - stream.taken()));
    }
  }
  const auto elapsed = Clock::now() - start;
  std::array<std::byte, 1> more{};
  if (read(stream.way_out(), more.data(), more.size()) > 0) {
    throw Failure("invalid run: more frames came out than went in");
  }
  return elapsed;
}

std::optional<Clock::time_point> await_first_frame(const Wire &wire, Clock::time_point deadline) {
  Bytes probe = wire.shape == Shape::ethernet ? Bytes{} : packet_information();
  const std::size_t frame_at = probe.size();
  append(probe, frame_of(wire.shape, Rejection::none, frame_bytes_min));
  set_destination(std::span(probe).subspan(frame_at), everyone);
  set_source(std::span(probe).subspan(frame_at), amm);
  std::array<std::byte, 4096> buffer{};
  while (Clock::now() < deadline) {
    (void)!write(wire.management.get(), probe.data(), probe.size());
    if (wait_readable(wire.inband.get(), probe_pause_ms)) {
      const auto came = Clock::now();
      while (wait_readable(wire.inband.get(), 50 * probe_pause_ms)) {
        (void)!read(wire.inband.get(), buffer.data(), buffer.size());
      }
      return came;
    }
  }
  return std::nullopt;
}

}  // namespace bench
