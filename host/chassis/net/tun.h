// TUN and TAP devices of the calling thread's network namespace. The kernel has the interface: a frame that it
// sends is read from the descriptor, and a frame that is written to the descriptor is received by it.
#pragma once

#include <string>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

enum class TunKind {
  ethernet,      ///< TAP: whole Ethernet frames, nothing in front
  with_protocol  ///< TUN: each frame behind four bytes: flags (2), protocol in network order (2)
};

/// Makes the device. It is down, and exists as long as its network namespace. The descriptor does not block.
host::Result<host::Descriptor> make_tun(const std::string &name, TunKind kind);

/// Switches the carrier of a device, like plugging and pulling a cable.
[[nodiscard]] host::Result<> set_carrier(const host::Descriptor &device, bool on);

}  // namespace chassis
