#include "host/chassis/services/portsvc.h"

namespace chassis {

InterfaceManager::InterfaceManager(const ServiceContext &context)
    : Service(context.loop, context.faults, "portsvc", bus::address::portsvc), state_(context.state) {
  endpoint_.serve<bus::Name>(
      bus::opcode::portsvc_register, "portsvc-register",
      [](const bus::Name &, const bus::Message &) { return bus::Result{RCODE_SUCCESS}; });
  endpoint_.serve<bus::Interface>(bus::opcode::portsvc_present, "portsvc-present",
                                  [this](const bus::Interface &request, const bus::Message &) {
                                    return look_up(IfIndex{request.if_index});
                                  });
}

bus::InterfacePresent InterfaceManager::look_up(IfIndex index) const {
  if (state_.vlans(index) == nullptr) return {RCODE_SUCCESS, 0, 0, PORTSVC_LINK_DOWN};
  const bool up = !state_.operational_ports(index).empty();
  const std::uint32_t link = up ? PORTSVC_LINK_UP : PORTSVC_LINK_DOWN;
  return {RCODE_SUCCESS, 1, ordinal(index), link};
}

}  // namespace chassis
