// TUN and TAP devices of the calling thread's network namespace: the interface is the kernel's, what it
// sends is read from the descriptor, what is written to the descriptor it receives.
#pragma once

#include <string>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace chassis {

enum class TunKind {
  ethernet,      ///< TAP: whole Ethernet frames, nothing in front
  with_protocol  ///< TUN: each frame behind four bytes: flags (2), protocol in network order (2)
};

/// Makes the device; it is down, and lasts as long as its network namespace. The descriptor does not block.
host::Result<host::Descriptor> make_tun(const std::string &name, TunKind kind);

/// Switches a device's carrier, as a cable that is plugged and pulled.
[[nodiscard]] host::Result<> set_carrier(const host::Descriptor &device, bool on);

}  // namespace chassis
