#include "opal/ltlsvc.h"

#include "host/opal/ask.h"

using namespace opal;

namespace {

int send(qbus_queue_t queue, std::uint32_t opcode, const bus::LtlRequest &request,
         qbus_msg_ref_t *reference) {
  const qbus_addr_t service{bus::address::ltlsvc.node, bus::address::ltlsvc.sap};
  return fu_qbus_send(queue, service, opcode, &request, sizeof request, reference, 0, 0);
}

}  // namespace

rcode_t ltlsvc_lib_ifidx_to_di(if_index_t if_idx, uint32_t *di) {
  const bus::Interface asked{if_idx};
  const auto told =
      ask<bus::DestinationIndex>(bus::address::ltlsvc, bus::opcode::ifindex_to_di, bus::bytes_of(asked));
  if (told) *di = told->di;
  return rcode_of(told);
}

int ltlsvc_send_ltl_alloc(qbus_queue_t queue, uint32_t type, vlan_id_t vlan, uint32_t argument1,
                          uint32_t argument2, uint32_t argument3, qbus_msg_ref_t *reference) {
  const bus::LtlRequest request{type, vlan, 0, {argument1, argument2, argument3}};
  return send(queue, QBUS_OPC_LTLSVC_ALLOC_LTL, request, reference);
}

int ltlsvc_send_ltl_dealloc(qbus_queue_t queue, ltl_t ltl, uint32_t type, vlan_id_t vlan, uint32_t argument1,
                            uint32_t argument2, qbus_msg_ref_t *reference) {
  const bus::LtlRequest request{type, vlan, ltl, {argument1, argument2, 0}};
  return send(queue, QBUS_OPC_LTLSVC_DEALLOC_LTL, request, reference);
}
