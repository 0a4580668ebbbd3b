#include "host/chassis/tun.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>

#include "host/chassis/failure.h"

namespace chassis {

opal::bus::Descriptor make_tun(const std::string &name, TunKind kind) {
  opal::bus::Descriptor device(open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC));
  if (!device) throw Failure(fmt::format("/dev/net/tun cannot be opened: {}", std::strerror(errno)));
  ifreq request{};
  if (name.size() >= sizeof request.ifr_name)
    throw Failure(fmt::format("'{}' is too long for an interface", name));
  std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
  request.ifr_flags = kind == TunKind::ethernet ? IFF_TAP | IFF_NO_PI : IFF_TUN;
  if (ioctl(device.get(), TUNSETIFF, &request) != 0)
    throw Failure(fmt::format("interface {} cannot be made: {}", name, std::strerror(errno)));
  // A device that ends with its descriptor makes the end of the process wait for the kernel, device by
  // device; one that persists ends with its network namespace, all of them at once.
  ioctl(device.get(), TUNSETPERSIST, 1);
  return device;
}

void set_carrier(const opal::bus::Descriptor &device, bool on) {
  const int carrier = on ? 1 : 0;
  if (ioctl(device.get(), TUNSETCARRIER, &carrier) != 0)
    throw Failure(fmt::format("an interface's carrier cannot be switched: {}", std::strerror(errno)));
}

}  // namespace chassis
