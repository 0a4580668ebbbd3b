#include "bench/relay/bare_relay.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/core.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>

#include "bench/relay/failure.h"
#include "opal/kestrix_th_fh_hdr.h"

namespace bench {
namespace {

using host::Descriptor;

constexpr std::uint16_t relay_protocol = 0xF102;
constexpr std::size_t buffer_bytes = 2584;

Descriptor open_packet_socket(const std::string &device) {
  Descriptor socket(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(relay_protocol)));
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(relay_protocol);
  address.sll_ifindex = static_cast<int>(if_nametoindex(device.c_str()));
  if (!socket || fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0 ||
      bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    throw Failure(fmt::format("no packet socket on {}: {}", device, std::strerror(errno)));
  }
  return socket;
}

/// An epoll descriptor for a socket and a timer, like the daemon's message queue. It never becomes readable.
struct QuietQueue {
  Descriptor socket{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
  Descriptor timer{timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC)};
  Descriptor handle{epoll_create1(EPOLL_CLOEXEC)};

  QuietQueue() {
    for (const Descriptor *watched : {&socket, &timer}) {
      epoll_event event{};
      event.events = EPOLLIN;
      epoll_ctl(handle.get(), EPOLL_CTL_ADD, watched->get(), &event);
    }
  }
};

struct Loop {
  int queue, inband, management;
  bool relays;
  std::array<unsigned char, buffer_bytes> buffer;  ///< shared by both directions

  bool passes(ssize_t frame_bytes) const { return relays || frame_bytes == good_frame_bytes; }

  void drain_inband() {
    ssize_t length = 0;
    while ((length = read(inband, buffer.data(), buffer.size())) > KESTRIX_HDR_BYTES) {
      if (passes(length - KESTRIX_HDR_BYTES)) {
        (void)!write(management, buffer.data() + KESTRIX_HDR_BYTES,
                     static_cast<std::size_t>(length) - KESTRIX_HDR_BYTES);
      }
    }
  }

  void drain_management() {
    ssize_t length = 0;
    while ((length = read(management, buffer.data() + KESTRIX_HDR_BYTES, buffer.size() - KESTRIX_HDR_BYTES)) >
           0) {
      if (passes(length)) {
        std::memset(buffer.data(), 0, KESTRIX_HDR_BYTES);
        (void)!write(inband, buffer.data(), static_cast<std::size_t>(length) + KESTRIX_HDR_BYTES);
      }
    }
  }

  void pass() {
    fd_set readable;
    FD_ZERO(&readable);
    for (const int descriptor : {queue, inband, management}) {
      FD_SET(descriptor, &readable);
    }
    if (select(std::max({queue, inband, management}) + 1, &readable, nullptr, nullptr, nullptr) < 0) {
      return;
    }
    if (FD_ISSET(inband, &readable)) {
      drain_inband();
    }
    if (FD_ISSET(management, &readable)) {
      drain_management();
    }
  }
};

}  // namespace

BareRelay::BareRelay(const Wire &wire, Work work) {
  const Descriptor inband = open_packet_socket(wire.inband_name);
  const Descriptor management = open_packet_socket(wire.management_name);
  pid_ = fork();
  if (pid_ < 0) {
    throw Failure(fmt::format("no process for the bare relay: {}", std::strerror(errno)));
  }
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const QuietQueue queue;
    Loop loop{queue.handle.get(), inband.get(), management.get(), work == Work::relay, {}};
    for (;;) {
      loop.pass();
    }
  }
}

BareRelay::~BareRelay() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

}  // namespace bench
