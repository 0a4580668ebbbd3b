#include "bench/device_pair.h"

#include <algorithm>
#include <array>

#include "host/chassis/net_link.h"
#include "host/chassis/tun.h"

namespace bench {
namespace {

constexpr int device_mtu = 2584;
constexpr std::array<std::byte, prefix_bytes> prefix{std::byte{0}, std::byte{0}, std::byte{0xf1},
                                                     std::byte{0x02}};

opal::bus::Descriptor make_device(const std::string &name) {
  opal::bus::Descriptor device = chassis::make_tun(name, chassis::TunKind::with_protocol);
  chassis::set_mtu(name, device_mtu);
  chassis::set_link_up(name, true);
  return device;
}

}  // namespace

DevicePair make_device_pair(const std::string &inband_name, const std::string &management_name) {
  return {inband_name, management_name, make_device(inband_name), make_device(management_name)};
}

void write_prefix(std::span<std::byte> buffer) { std::copy(prefix.begin(), prefix.end(), buffer.begin()); }

bool has_relay_prefix(std::span<const std::byte> buffer) {
  return buffer.size() >= prefix.size() && std::equal(prefix.begin() + 2, prefix.end(), buffer.begin() + 2);
}

}  // namespace bench
