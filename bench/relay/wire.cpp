#include "bench/relay/wire.h"

#include <arpa/inet.h>
#include <fmt/core.h>
#include <linux/if_packet.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "bench/relay/failure.h"
#include "host/chassis/net/net_link.h"
#include "host/chassis/net/tun.h"

namespace bench {
namespace {

using host::Descriptor;

constexpr int device_mtu = 2584;
constexpr std::uint16_t experimental_type = 0x88b5;

Descriptor make_driver_device(const std::string &name) {
  Descriptor device = must(chassis::make_tun(name, chassis::TunKind::with_protocol));
  must(chassis::set_mtu(name, device_mtu));
  must(chassis::set_link_up(name, true));
  return device;
}

Descriptor make_tap(const std::string &name) {
  Descriptor device = must(chassis::make_tun(name, chassis::TunKind::ethernet));
  must(chassis::set_link_up(name, true));
  return device;
}

/// Opens a packet socket. It is bound to the frames' own type, so it does not see what the generator sends.
Descriptor open_packet_socket(const std::string &name) {
  must(chassis::set_link_up(name, true));
  Descriptor socket(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(experimental_type);
  address.sll_ifindex = static_cast<int>(if_nametoindex(name.c_str()));
  if (!socket || bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    throw Failure(fmt::format("no packet socket on {}: {}", name, std::strerror(errno)));
  }
  return socket;
}

}  // namespace

Wire make_driver_wire(Shape shape, const std::string &inband_name, const std::string &management_name) {
  return {shape, inband_name, management_name, make_driver_device(inband_name),
          make_driver_device(management_name)};
}

void remove_driver_wire(Wire &wire) {
  for (Descriptor *device : {&wire.inband, &wire.management}) {
    if (*device) {
      ioctl(device->get(), TUNSETPERSIST, 0);
      *device = Descriptor();
    }
  }
}

Wire make_tap_wire(const std::string &inband_name, const std::string &management_name) {
  return {Shape::ethernet, inband_name, management_name, make_tap(inband_name), make_tap(management_name)};
}

Wire open_tap_wire(const std::string &inband_name, const std::string &management_name) {
  return {Shape::ethernet, inband_name, management_name, open_packet_socket(inband_name),
          open_packet_socket(management_name)};
}

Bytes packet_information() { return {std::byte{0}, std::byte{0}, std::byte{0xf1}, std::byte{0x02}}; }

}  // namespace bench
