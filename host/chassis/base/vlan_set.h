// VLAN sets: as bits, as people write them, and as the platform's records carry them.
#pragma once

#include <bitset>
#include <string>

#include "opal/bitset.h"

namespace chassis {

using VlanSet = std::bitset<4096>;

/// "100,200-203,4095"; "" for the empty set.
std::string to_ranges(const VlanSet &vlans);

/// The platform's record of the same set.
vlan_bitset_t to_record(const VlanSet &vlans);

/// The set in a record; nothing outside the record's 512 bytes is looked at, whatever its size word.
VlanSet from_record(const vlan_bitset_t &record);

}  // namespace chassis
