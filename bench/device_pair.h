// The two devices that a relay stands between, from the side of the ASIC and of the AMM.
//
// They are made exactly as the chassis makes them: TUN devices with packet information, of MTU 2584, whose
// frames carry protocol 0xF102. A frame here is what stands behind the four bytes of that information.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "host/bus/socket.h"

namespace bench {

/// Bytes in front of each frame that is read from or written to a device.
inline constexpr std::size_t prefix_bytes = 4;

struct DevicePair {
  std::string inband_name, management_name;
  opal::bus::Descriptor inband, management;
};

/// Makes both devices and brings them up. Throws chassis::Failure.
DevicePair make_device_pair(const std::string &inband_name, const std::string &management_name);

/// Writes the packet information to the first four bytes.
void write_prefix(std::span<std::byte> buffer);

/// Whether the packet information is that of a relayed frame.
bool has_relay_prefix(std::span<const std::byte> buffer);

}  // namespace bench
