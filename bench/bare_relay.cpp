#include "bench/bare_relay.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/core.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>

#include "host/chassis/failure.h"
#include "opal/kestrix_th_fh_hdr.h"

namespace bench {
namespace {

using opal::bus::Descriptor;

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
    throw chassis::Failure(fmt::format("no packet socket on {}: {}", device, std::strerror(errno)));
  }
  return socket;
}

using Buffer = std::array<unsigned char, buffer_bytes>;

void drain_inband(int inband, int management, Buffer &buffer) {
  ssize_t length = 0;
  while ((length = read(inband, buffer.data(), buffer.size())) > KESTRIX_HDR_BYTES) {
    (void)!write(management, buffer.data() + KESTRIX_HDR_BYTES,
                 static_cast<std::size_t>(length) - KESTRIX_HDR_BYTES);
  }
}

void drain_management(int management, int inband, Buffer &buffer) {
  ssize_t length = 0;
  while ((length = read(management, buffer.data() + KESTRIX_HDR_BYTES, buffer.size() - KESTRIX_HDR_BYTES)) >
         0) {
    (void)!write(inband, buffer.data(), static_cast<std::size_t>(length) + KESTRIX_HDR_BYTES);
  }
}

[[noreturn]] void relay(int inband, int management) {
  Buffer from_inband{};
  Buffer from_management{};
  for (;;) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(inband, &readable);
    FD_SET(management, &readable);
    if (select(std::max(inband, management) + 1, &readable, nullptr, nullptr, nullptr) < 0) {
      continue;
    }
    if (FD_ISSET(inband, &readable)) {
      drain_inband(inband, management, from_inband);
    }
    if (FD_ISSET(management, &readable)) {
      drain_management(management, inband, from_management);
    }
  }
}

}  // namespace

BareRelay::BareRelay(const DevicePair &devices) {
  const Descriptor inband = open_packet_socket(devices.inband_name);
  const Descriptor management = open_packet_socket(devices.management_name);
  pid_ = fork();
  if (pid_ < 0) {
    throw chassis::Failure(fmt::format("no process for the bare relay: {}", std::strerror(errno)));
  }
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    relay(inband.get(), management.get());
  }
}

BareRelay::~BareRelay() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

}  // namespace bench
