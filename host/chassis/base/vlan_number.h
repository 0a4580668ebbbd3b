// Checks VLAN numbers that come from outside.
#pragma once

#include <cstdint>
#include <optional>

#include "host/chassis/base/numbers.h"

namespace chassis {

/// @return nothing for a number outside 1 to 4095
constexpr std::optional<VlanId> vlan_number(std::int64_t number) {
  if (number < 1 || number > sol_vlan.value) return std::nullopt;
  return VlanId{static_cast<std::uint16_t>(number)};
}

}  // namespace chassis
