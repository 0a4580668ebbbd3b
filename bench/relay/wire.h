// The two devices between which a relay runs, seen from the generator.
//
// The daemon and the bare loop run between devices made exactly as the chassis makes them: TUN devices with
// packet information and MTU 2584. Their frames carry protocol 0xF102 and, on the in-band side, an ASIC
// header. Programs that relay Ethernet run between two TAP devices, which carry the frame alone. Either the
// generator holds a TAP's descriptor, or the program does and the generator has a packet socket on the
// device.
#pragma once

#include <cstddef>
#include <string>

#include "bench/relay/frames.h"
#include "host/system/descriptor.h"

namespace bench {

/// Format of the frames on a wire.
enum class Shape {
  daemon,   ///< packet information and headers; checked to be the daemon's
  bare,     ///< the same with a header of zeros towards the ASIC
  ethernet  ///< untagged frames, nothing in front
};

struct Wire {
  Shape shape = Shape::ethernet;
  std::string inband_name, management_name;
  host::Descriptor inband, management;
};

/// Makes two TUN devices and brings them up. Throws Failure.
Wire make_driver_wire(Shape shape, const std::string &inband_name, const std::string &management_name);

/// Removes a driver wire's devices. All other holders of their descriptors must have ended. Without devices
/// it does nothing.
void remove_driver_wire(Wire &wire);

/// Makes two TAP devices, whose descriptors the generator holds, and brings them up.
Wire make_tap_wire(const std::string &inband_name, const std::string &management_name);

/// Brings up two TAP devices that a program has made, and opens packet sockets on them.
Wire open_tap_wire(const std::string &inband_name, const std::string &management_name);

/// Size of the packet information in front of each frame on the devices of the daemon and the bare loop.
inline constexpr std::size_t packet_information_bytes = 4;
Bytes packet_information();

}  // namespace bench
