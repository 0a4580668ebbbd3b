// Counts the frames that pass the devices between the chassis and the daemon, port by port.
//
// The kernel module reports these counters. They are taken at inb0 and at the management device. A frame
// counts as sent to a port when its from-host header names the port, even if the fabric could not deliver it.
// A frame counts as received from a port when it was handed to the daemon. The fabric counts frames on the
// wires separately, so that the two can be compared.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "host/chassis/asic/fabric.h"
#include "host/chassis/base/numbers.h"

namespace chassis {

class InbandCounters {
 public:
  struct Port {
    FrameCounters tx;  ///< to the port; on the management device, from the daemon
    FrameCounters rx;  ///< from the port; on the management device, to the daemon
  };

  /// A frame that was handed to the daemon on inb0.
  void to_daemon(std::span<const std::byte> header_and_frame);
  /// A frame that the daemon wrote on inb0.
  void from_daemon(std::span<const std::byte> header_and_frame);
  void management_to_daemon(std::span<const std::byte> frame);
  void management_from_daemon(std::span<const std::byte> frame);

  const Port &port(AsicPort port) const { return ports_.at(port.value); }
  const Port &management() const { return management_; }

 private:
  std::array<Port, asic_ports> ports_;
  Port management_;
};

}  // namespace chassis
