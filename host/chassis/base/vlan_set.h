// VLAN sets in three forms: as bits, as text for people, and as a record of the platform.
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

/// The set in a record. Reads only the record's 512 bytes, whatever its size field says.
VlanSet from_record(const vlan_bitset_t &record);

}  // namespace chassis
