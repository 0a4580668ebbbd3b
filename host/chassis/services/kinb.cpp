#include "host/chassis/services/kinb.h"

#include <fmt/format.h>

#include "host/chassis/base/vlan_number.h"

namespace chassis {

InbandDriver::InbandDriver(const ServiceContext &context)
    : Service(context.loop, context.faults, "kinb", bus::address::kinb),
      fabric_(context.fabric),
      journal_(context.journal) {
  endpoint_.serve<Nothing>(bus::opcode::kinb_init, "kinb-init",
                           [](Nothing, const bus::Message &) { return bus::Result{RCODE_SUCCESS}; });
  endpoint_.serve<bus::Vlan>(
      bus::opcode::kinb_vlan_add, "kinb-add",
      [this](const bus::Vlan &request, const bus::Message &) { return classify(request, true); });
  endpoint_.serve<bus::Vlan>(
      bus::opcode::kinb_vlan_del, "kinb-del",
      [this](const bus::Vlan &request, const bus::Message &) { return classify(request, false); });
}

bus::Result InbandDriver::classify(const bus::Vlan &request, bool on) {
  const auto vlan = vlan_number(request.vlan);
  if (!vlan) return {RCODE_INVALID};
  fabric_.classify(*vlan, on);
  journal_.line(fmt::format("kinb: classification of VLAN {} {}", vlan->value, on ? "set up" : "removed"));
  return {RCODE_SUCCESS};
}

}  // namespace chassis
