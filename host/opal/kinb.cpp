#include "opal/kinb.h"

#include "host/opal/ask.h"

using namespace opal;

namespace {

int ask_vlan(std::uint32_t opcode, vlan_id_t vlan) {
  const bus::Vlan asked{vlan};
  return static_cast<int>(rcode_of(ask(bus::address::kinb, opcode, bus::bytes_of(asked))));
}

}  // namespace

int kinb_libinit(void) {
  return static_cast<int>(rcode_of(ask(bus::address::kinb, bus::opcode::kinb_init, {})));
}

int kinb_tesk_vlan_add(vlan_id_t vlan) { return ask_vlan(bus::opcode::kinb_vlan_add, vlan); }

int kinb_tesk_vlan_del(vlan_id_t vlan) { return ask_vlan(bus::opcode::kinb_vlan_del, vlan); }
