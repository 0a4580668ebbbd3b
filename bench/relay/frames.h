// The frames of the benchmark, byte by byte as on either device.
//
// Every frame carries its number after its addresses, tag and type, so that a missing, duplicate, changed or
// reordered frame is detected. Stations have numbers too: station n was learnt on ASIC port n % 20.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace bench {

using Bytes = std::vector<std::byte>;
using Mac = std::array<std::uint8_t, 6>;

inline constexpr std::uint16_t sol_vlan = 4095;
inline constexpr std::uint16_t foreign_vlan = 7;  ///< no port carries it
inline constexpr std::uint8_t asic_ports = 20;

inline constexpr Mac amm{0x02, 0, 0, 0, 0, 1};
inline constexpr Mac everyone{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
Mac station(std::uint32_t number);
inline std::uint8_t port_of_station(std::uint32_t number) {
  return static_cast<std::uint8_t>(number % asic_ports);
}

/// Size of the smallest frame on a wire, and of the largest one of the benchmark.
inline constexpr std::size_t frame_bytes_min = 60;
inline constexpr std::size_t frame_bytes_max = 1522;

/// Offset of a frame's number, in a tagged and in an untagged frame.
inline constexpr std::size_t number_in_tagged = 18;
inline constexpr std::size_t number_in_untagged = 14;

Bytes tagged_frame(std::uint16_t vlan, std::size_t bytes);
Bytes untagged_frame(std::size_t bytes);
void set_destination(std::span<std::byte> frame, const Mac &mac);
void set_source(std::span<std::byte> frame, const Mac &mac);

/// The header that the ASIC puts in front of a frame to the CPU.
Bytes to_host_header(std::uint8_t ingress_port, std::uint16_t vlan, bool tagged);

/// The header that the daemon puts in front of a frame, for one port or for the ports of a flood.
Bytes from_host_header(std::uint32_t ltl, bool flood);

}  // namespace bench
