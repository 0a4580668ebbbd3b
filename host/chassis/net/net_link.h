// Network interfaces of the calling thread's network namespace: names, addresses, flags.
// The text of every failure names the interface.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "host/system/failure.h"

namespace chassis {

using MacAddress = std::array<std::uint8_t, 6>;

[[nodiscard]] host::Result<> set_link_up(const std::string &name, bool up);
[[nodiscard]] host::Result<> set_mtu(const std::string &name, int mtu);
[[nodiscard]] host::Result<> set_mac(const std::string &name, const MacAddress &mac);
/// @param address like "10.0.100.1/24"
[[nodiscard]] host::Result<> set_address(const std::string &name, const std::string &address);
/// Disables IPv6 on every interface that is made afterwards, so that no stack sends frames on its own.
void disable_ipv6();

}  // namespace chassis
