// A type of its own for each kind of number in a chassis, so that code that swaps two of them does not
// compile.
#pragma once

#include <compare>
#include <cstdint>

namespace chassis {

/// ASIC port, 0 to 19.
struct AsicPort {
  std::uint8_t value = 0;
  friend auto operator<=>(const AsicPort &, const AsicPort &) = default;
};
inline constexpr std::uint8_t asic_ports = 20;

/// VLAN, 1 to 4095.
struct VlanId {
  std::uint16_t value = 0;
  friend auto operator<=>(const VlanId &, const VlanId &) = default;
};
inline constexpr VlanId sol_vlan{4095};

/// Interface index; its format is in include/opal/if_index.h.
struct IfIndex {
  std::uint32_t value = 0;
  friend auto operator<=>(const IfIndex &, const IfIndex &) = default;
};

}  // namespace chassis
