#include "host/chassis/net/tun.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <cstring>

namespace chassis {

host::Result<host::Descriptor> make_tun(const std::string &name, TunKind kind) {
  host::Descriptor device(open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC));
  if (!device) return host::errno_failure("/dev/net/tun cannot be opened");
  ifreq request{};
  if (name.size() >= sizeof request.ifr_name)
    return host::failure(fmt::format("'{}' is too long for an interface name", name));
  std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
  request.ifr_flags = kind == TunKind::ethernet ? IFF_TAP | IFF_NO_PI : IFF_TUN;
  if (ioctl(device.get(), TUNSETIFF, &request) != 0)
    return host::errno_failure(fmt::format("interface {} cannot be made", name));
  // If a device ended with its descriptor, the end of the process would wait for the kernel to remove each
  // device in turn. Persistent devices end with their network namespace, all at once.
  ioctl(device.get(), TUNSETPERSIST, 1);
  return device;
}

host::Result<> set_carrier(const host::Descriptor &device, bool on) {
  const int carrier = on ? 1 : 0;
  if (ioctl(device.get(), TUNSETCARRIER, &carrier) != 0)
    return host::errno_failure("the carrier of an interface cannot be switched");
  return {};
}

}  // namespace chassis
