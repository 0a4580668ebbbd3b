/* The kernel module behind /dev/klm_tesk: it records everything and keeps what it receives. A deletion of a
 * port or VLAN that it does not have fails the test, unless a push of that record was scripted to fail.
 *
 * Each request is one line, which shows the record of the request:
 *
 *     ioctl(31, add_or_update_ports, {0x1a000003 type 26 asic 3 [100 fwd, 4095 blk]})
 *     ioctl(31, add_or_update_vlans, {100 ports 0x5})
 *     ioctl(31, del_vlan, 100)
 *     ioctl(31, del_port, 0x1a000003)
 *     ioctl(31, get_port_counters, 0x1a000003) */
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "tesk/kspace/teskk.h"

#include "tests/standin/sites.h"

namespace standin {

/** The module's tables, as the requests have left them. */
struct Mirror {
  std::map<uint32_t, teskk_port_info_t> ports; /**< by interface index */
  std::map<uint16_t, uint32_t> vlans;          /**< ports mask of each VLAN */

  /** Records of the last refused request, until a request about them succeeds. */
  std::set<uint32_t> refused_ports;
  std::set<uint16_t> refused_vlans;
};

const Mirror &mirror();

/** One request: its number, as this machine encodes it, and the bytes of its record. */
struct ModuleRequest {
  uint32_t number;
  std::vector<uint8_t> record;
};

/** Every request, in order. */
const std::vector<ModuleRequest> &module_requests();

/** Serves one ioctl on the device. @return 0, or -1 with errno set */
int module_request(const Operation &ioctl, int descriptor, uint32_t request, void *record);

void reset_module();

}  // namespace standin
