#include "host/chassis/net/net_link.h"

#include <arpa/inet.h>
#include <fmt/core.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>
#include <fstream>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {
namespace {

/// One SIOC… request about one interface.
class LinkRequest {
 public:
  static host::Result<LinkRequest> about(const std::string &name) {
    LinkRequest link;
    if (name.size() >= sizeof link.request.ifr_name)
      return host::failure(fmt::format("'{}' is too long for an interface name", name));
    std::memcpy(link.request.ifr_name, name.c_str(), name.size() + 1);
    return link;
  }

  host::Result<> make(unsigned long number, const char *what) {
    if (ioctl(socket_.get(), number, &request) != 0)
      return host::errno_failure(fmt::format("interface {}: {} failed", request.ifr_name, what));
    return {};
  }

  ifreq request{};

 private:
  LinkRequest() : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
  host::Descriptor socket_;
};

void store_address(sockaddr &place, in_addr address) {
  sockaddr_in internet{};
  internet.sin_family = AF_INET;
  internet.sin_addr = address;
  std::memcpy(&place, &internet, sizeof place);
}

}  // namespace

host::Result<> set_link_up(const std::string &name, bool up) {
  return LinkRequest::about(name).and_then([up](LinkRequest link) -> host::Result<> {
    if (host::Result<> read = link.make(SIOCGIFFLAGS, "reading its flags"); !read) return read;
    const int flags = up ? link.request.ifr_flags | IFF_UP : link.request.ifr_flags & ~IFF_UP;
    link.request.ifr_flags = static_cast<short>(flags);
    return link.make(SIOCSIFFLAGS, up ? "bringing it up" : "bringing it down");
  });
}

host::Result<> set_mtu(const std::string &name, int mtu) {
  return LinkRequest::about(name).and_then([mtu](LinkRequest link) {
    link.request.ifr_mtu = mtu;
    return link.make(SIOCSIFMTU, "setting its MTU");
  });
}

host::Result<> set_mac(const std::string &name, const MacAddress &mac) {
  return LinkRequest::about(name).and_then([&mac](LinkRequest link) {
    link.request.ifr_hwaddr.sa_family = ARPHRD_ETHER;
    std::memcpy(link.request.ifr_hwaddr.sa_data, mac.data(), mac.size());
    return link.make(SIOCSIFHWADDR, "setting its MAC address");
  });
}

host::Result<> set_address(const std::string &name, const std::string &text) {
  const std::size_t slash = text.find('/');
  in_addr address{};
  if (slash == std::string::npos || inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) != 1)
    return host::failure(fmt::format("interface {}: '{}' is not an address like 10.0.100.1/24", name, text));
  const int length = std::stoi(text.substr(slash + 1));
  return LinkRequest::about(name).and_then([=](LinkRequest link) -> host::Result<> {
    store_address(link.request.ifr_addr, address);
    if (host::Result<> set = link.make(SIOCSIFADDR, "setting its address"); !set) return set;
    store_address(link.request.ifr_netmask, {length == 0 ? 0U : htonl(~0U << (32 - length))});
    return link.make(SIOCSIFNETMASK, "setting its prefix length");
  });
}

void disable_ipv6() {
  for (const char *scope : {"all", "default"})
    std::ofstream(fmt::format("/proc/sys/net/ipv6/conf/{}/disable_ipv6", scope)) << "1\n";
}

}  // namespace chassis
