#include "host/chassis/services/ltlsvc.h"

#include <fmt/format.h>

#include "host/chassis/base/vlan_number.h"

namespace chassis {

namespace {

// The only type of LTL that is requested by VLAN: redirection of the VLAN's traffic.
constexpr std::uint32_t vlan_redirection = 7;

/// The LTL of a VLAN in the index space of redirections.
constexpr std::uint32_t ltl_of(VlanId vlan) { return 0x10000U | vlan.value; }

}  // namespace

PortIndexService::PortIndexService(const ServiceContext &context)
    : Service(context.loop, context.faults, "ltlsvc", bus::address::ltlsvc),
      state_(context.state),
      fabric_(context.fabric),
      journal_(context.journal) {
  endpoint_.serve<bus::Interface>(bus::opcode::ifindex_to_di, "ltlsvc-di",
                                  [this](const bus::Interface &request, const bus::Message &) {
                                    return destination_index(IfIndex{request.if_index});
                                  });
  endpoint_.serve<bus::LtlRequest>(
      QBUS_OPC_LTLSVC_ALLOC_LTL, "ltl-answer",
      [this](const bus::LtlRequest &request, const bus::Message &) { return allocate(request); });
  endpoint_.serve<bus::LtlRequest>(
      QBUS_OPC_LTLSVC_DEALLOC_LTL, "ltl-answer",
      [this](const bus::LtlRequest &request, const bus::Message &) { return release(request); });
}

bus::DestinationIndex PortIndexService::destination_index(IfIndex index) const {
  const Port *port = state_.port(index);
  if (port == nullptr) return {RCODE_NOT_FOUND, 0};
  return {RCODE_SUCCESS, port->asic.value};
}

bus::LtlAnswer PortIndexService::allocate(const bus::LtlRequest &request) {
  const auto vlan = vlan_number(request.vlan);
  if (!vlan || request.type != vlan_redirection) return {RCODE_INVALID, request.vlan, 0};
  fabric_.allocate_ltl(*vlan, true);
  journal_.line(fmt::format("ltlsvc: allocation of the LTL of VLAN {} requested", vlan->value));
  return {RCODE_SUCCESS, request.vlan, ltl_of(*vlan)};
}

bus::LtlAnswer PortIndexService::release(const bus::LtlRequest &request) {
  const auto vlan = vlan_number(request.vlan);
  if (!vlan || request.type != vlan_redirection) return {RCODE_INVALID, request.vlan, 0};
  if (!fabric_.ltl_allocated()[vlan->value]) return {RCODE_NOT_FOUND, request.vlan, 0};
  fabric_.allocate_ltl(*vlan, false);
  journal_.line(fmt::format("ltlsvc: release of the LTL of VLAN {} requested", vlan->value));
  return {RCODE_SUCCESS, request.vlan, ltl_of(*vlan)};
}

}  // namespace chassis
