#include <string.h>

#include "opal/ltlsvc.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

static_assert(sizeof(ltlsvc_port_cbl_t) == LTLSVC_CBL_ENTRY_BYTES);

namespace {

enum { CBL_PRINT_BYTES = 64 };

void trace_cbl(const tesk_port_t *port, tesk_place_t place = tesk_here()) {
  char text[CBL_PRINT_BYTES];
  int done = 0;
  for (int first = 1; done == 0; first = 0) {
    const int length = bitset_snprintf(text, sizeof text, &port->vlan_cbl_bmp, first, &done);
    TESK_CTRL_AT(place, "%s: Port %08x CBL[%s]\n", place.function, port->if_idx, text);
    if (length <= 0) {
      return;
    }
  }
}

}  // namespace

void tesk_ltlsvc_cbl_change(qbus_msg_ref_t *msg) {
  const auto *payload = (const uint8_t *)qbus_payload_get(msg);
  if (payload == nullptr) {
    TESK_ERR("%s:NULL QBUS Payload\n", __func__);
    return;
  }
  const uint32_t size = qbus_payload_size_get(msg);
  uint16_t count = 0;
  if (size >= sizeof count) {
    memcpy(&count, payload, sizeof count);
  }
  if (size < LTLSVC_CBL_ENTRIES_OFFSET + (uint32_t)count * LTLSVC_CBL_ENTRY_BYTES) {
    TESK_ERR("%s: QBUS_OPC_LTLSVC_CBL_CHANGE cut short: %u bytes\n", __func__, size);
    return;
  }
  for (uint16_t i = 0; i < count; i++) {
    ltlsvc_port_cbl_t entry;
    memcpy(&entry, payload + LTLSVC_CBL_ENTRIES_OFFSET + (size_t)i * LTLSVC_CBL_ENTRY_BYTES, sizeof entry);
    entry.vlan_cbl_bmp.size = VLAN_BITSET_BYTES; /* ignore the message's size word */
    if (tesk_port_is_downlink_ifindex(entry.if_idx)) {
      (void)tesk_ltlsvc_cbl_change_one_port(entry.if_idx, &entry.vlan_cbl_bmp);
    } else {
      TESK_CTRL("%s:Port (0x%x) is not downlink\n", __func__, entry.if_idx);
    }
  }
}

boolean tesk_ltlsvc_cbl_change_one_port(if_index_t if_idx, const vlan_bitset_t *cbl_bmp) {
  tesk_port_t *port = tesk_ifindex_hash_find(if_idx);
  if (port == nullptr) {
    TESK_ERR("%s: Failed to retrieve the port context for if_index(0x%x)\n", __func__, if_idx);
    return false;
  }
  bitset_copy(&port->vlan_cbl_bmp, cbl_bmp);
  bitset_set_bit(&port->vlan_cbl_bmp, sol_vlan);
  trace_cbl(port);
  tesk_krnl_port_info_dirty(port);
  (void)tesk_vlan_cbl_change_one_port(port, cbl_bmp);
  return true;
}
