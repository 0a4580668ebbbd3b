#include "host/chassis/wires/daemon_device.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/chassis/net/net_link.h"
#include "host/chassis/net/tun.h"

namespace chassis {
namespace {

constexpr int device_mtu = 2584;  ///< the daemon's frame buffer

/// Packet information: no flags, protocol 0xF102 in network order.
constexpr std::array<std::byte, 4> inband_prefix{std::byte{0}, std::byte{0}, std::byte{0xf1},
                                                 std::byte{0x02}};

}  // namespace

host::Result<std::unique_ptr<DaemonDevice>> DaemonDevice::make(asio::io_context &loop,
                                                               const std::string &name,
                                                               FromDaemon from_daemon) {
  host::Result<host::Descriptor> descriptor = make_tun(name, TunKind::with_protocol);
  if (!descriptor) return failed(std::move(descriptor));
  host::Result<> up = set_mtu(name, device_mtu).and_then([&] { return set_link_up(name, true); });
  if (!up) return failed(std::move(up));
  return std::unique_ptr<DaemonDevice>(new DaemonDevice(  // NOLINT: private constructor
      loop, std::move(*descriptor), std::move(from_daemon)));
}

DaemonDevice::DaemonDevice(asio::io_context &loop, host::Descriptor descriptor, FromDaemon from_daemon)
    : from_daemon_(std::move(from_daemon)), descriptor_(std::move(descriptor)) {
  watch_.emplace(loop, descriptor_.get(), [this] { return read_one(); });
}

bool DaemonDevice::send(std::span<const std::byte> frame) {
  // writev takes no pointers to const, and does not write through them.
  const iovec parts[] = {{const_cast<std::byte *>(inband_prefix.data()), inband_prefix.size()},
                         {const_cast<std::byte *>(frame.data()), frame.size()}};
  const bool taken = writev(descriptor_.get(), parts, 2) >= 0;
  ++(taken ? counters_.to_daemon : counters_.refused);
  return taken;
}

ReadResult DaemonDevice::read_one() {
  const ssize_t length = read(descriptor_.get(), buffer_.data(), buffer_.size());
  if (length < 0) return result_of_failed_read(errno);
  const auto frame = std::span(buffer_).first(static_cast<std::size_t>(length));
  // Flags differ only for a truncated frame, and this buffer is large enough for every frame.
  if (frame.size() < inband_prefix.size() ||
      !std::equal(inband_prefix.begin() + 2, inband_prefix.end(), frame.begin() + 2)) {
    ++counters_.foreign;
    return ReadResult::taken;
  }
  ++counters_.from_daemon;
  from_daemon_(frame.subspan(inband_prefix.size()));
  return ReadResult::taken;
}

}  // namespace chassis
