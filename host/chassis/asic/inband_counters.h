// What passes the devices between the chassis and the daemon, counted frame by frame and port by port.
//
// This is the kernel module's count, taken at inb0 and at the management device: frames to a port are those
// whose from-host header names it, whether or not the fabric could deliver them; frames from a port are
// those handed to the daemon. The fabric counts the wires on its own, so that the two can be compared.
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
    FrameCounters tx;  ///< towards the port; for the management device from the daemon
    FrameCounters rx;  ///< from the port; for the management device to the daemon
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
