// The kernel module's tables and the checks that every record passes before it is taken.
//
// A request is taken whole or not at all. Each function answers 0 or the errno that the caller gets:
// EINVAL  a count or a VLAN out of range, a port that the chassis does not have, or a record too short
// ENOENT  deletion of what is not there
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <span>

#include "host/chassis/base/numbers.h"
#include "tesk/kspace/teskk.h"

namespace chassis {

/// What the daemon has pushed.
struct KlmMirror {
  std::map<IfIndex, teskk_port_info_t> ports;
  std::map<VlanId, teskk_vlan_info_t> vlans;
};

/// Whether the chassis has the port.
using PortExists = std::function<bool(IfIndex)>;

class KlmRecords {
 public:
  explicit KlmRecords(PortExists port_exists) : port_exists_(std::move(port_exists)) {}

  /// Serves one of the four writing requests. @return 0 or an errno; ENOTTY for any other request
  int write(unsigned request, std::span<const std::byte> record);

  const KlmMirror &mirror() const { return mirror_; }
  void forget() { mirror_ = {}; }

 private:
  int update_vlans(const teskk_vlan_list_t &list);
  int delete_vlan(std::uint16_t vlan);
  int update_ports(const teskk_port_list_t &list);
  int delete_port(std::uint32_t if_idx);
  bool is_sound(const teskk_port_info_t &port) const;

  PortExists port_exists_;
  KlmMirror mirror_;
};

}  // namespace chassis
