// The kernel module's tables, and the checks that every record must pass before it is accepted.
//
// A request is accepted as a whole or not at all. Each function returns 0, or the errno for the caller:
// EINVAL  a count or a VLAN is out of range, the chassis does not have the port, or the record is too short
// ENOENT  the entry to be deleted does not exist
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <span>

#include "host/chassis/base/numbers.h"
#include "tesk/kspace/teskk.h"

namespace chassis {

/// The tables that the daemon has pushed.
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
