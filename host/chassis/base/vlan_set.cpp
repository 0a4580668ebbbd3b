#include "host/chassis/base/vlan_set.h"

#include <fmt/format.h>

namespace chassis {

std::string to_ranges(const VlanSet &vlans) {
  std::string text;
  for (std::size_t first = 0; first < vlans.size(); ++first) {
    if (!vlans[first]) continue;
    std::size_t last = first;
    while (last + 1 < vlans.size() && vlans[last + 1]) ++last;
    if (!text.empty()) text += ',';
    text += first == last ? fmt::format("{}", first) : fmt::format("{}-{}", first, last);
    first = last;
  }
  return text;
}

vlan_bitset_t to_record(const VlanSet &vlans) {
  vlan_bitset_t record{};
  record.size = VLAN_BITSET_BYTES;
  for (std::size_t vlan = 0; vlan < vlans.size(); ++vlan) {
    if (vlans[vlan])
      record.bits[vlan / 8] = static_cast<std::uint8_t>(record.bits[vlan / 8] | 1U << vlan % 8);
  }
  return record;
}

VlanSet from_record(const vlan_bitset_t &record) {
  VlanSet vlans;
  for (std::size_t vlan = 0; vlan < vlans.size(); ++vlan) {
    vlans[vlan] = (record.bits[vlan / 8] >> vlan % 8 & 1) != 0;
  }
  return vlans;
}

}  // namespace chassis
