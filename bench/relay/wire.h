// The two devices that a relay stands between, from the side of the generator.
//
// The daemon and the bare loop stand between devices made exactly as the chassis makes them: TUN devices
// with packet information, of MTU 2584, whose frames carry protocol 0xF102, behind an ASIC header on the
// in-band side. Programs that relay Ethernet stand between two TAP devices, with the frame alone. Either the
// generator holds a TAP's descriptor, or the program does and the generator has a packet socket on it.
#pragma once

#include <cstddef>
#include <string>

#include "bench/relay/frames.h"
#include "host/system/descriptor.h"

namespace bench {

/// What the frames of a wire look like.
enum class Shape {
  daemon,   ///< packet information and headers, checked to be the daemon's
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

/// Takes a driver wire's devices away; whoever else holds their descriptors must have ended. No devices, no
/// effect.
void remove_driver_wire(Wire &wire);

/// Makes two TAP devices, whose descriptors the generator holds, and brings them up.
Wire make_tap_wire(const std::string &inband_name, const std::string &management_name);

/// Packet sockets on two TAP devices that a program has made; brings them up.
Wire open_tap_wire(const std::string &inband_name, const std::string &management_name);

/// Packet information in front of each frame of the daemon's and the bare loop's devices.
inline constexpr std::size_t packet_information_bytes = 4;
Bytes packet_information();

}  // namespace bench
