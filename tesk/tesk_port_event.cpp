#include <stdlib.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

namespace {

/* The VLAN set of a notice has the length of its record, whatever its size word says. */
void vlan_set_bound(vlan_bitset_t *set) { set->size = VLAN_BITSET_BYTES; }

void vlan_ports_set(uint16_t vlan, uint32_t ltl, tesk_place_t place) {
  if (!tesk_vlan_hash_set_ltl(vlan, ltl)) {
    TESK_ERR_AT(place, "%s: Failed to set LTL(0x%x) for VLAN(%d)\n", place.function, ltl, vlan);
  }
}

void join_vlan(tesk_port_t *port, uint16_t vlan, tesk_place_t place = tesk_here()) {
  const uint32_t ltl = tesk_vlan_hash_get_ltl(vlan);
  if (ltl == TESK_LTL_ABSENT || tesk_port_has_vlan(port, vlan)) {
    return;
  }
  if (ltl == 0 && tesk_vlan_activate(vlan) != 0) {
    TESK_ERR_AT(place, "%s:Failed to activate CIN VLAN:%d\n", place.function, vlan);
  }
  tesk_port_add_vlan(port, vlan);
  tesk_krnl_port_info_dirty(port);
  vlan_ports_set(vlan, ltl | tesk_port_bit(port->kestrix_port), place);
  tesk_krnl_vlan_info_dirty(vlan);
}

void leave_vlan(tesk_port_t *port, uint16_t vlan, tesk_place_t place = tesk_here()) {
  const uint32_t ltl = tesk_vlan_hash_get_ltl(vlan);
  if (ltl == TESK_LTL_ABSENT) {
    return;
  }
  if (!tesk_port_has_vlan(port, vlan)) {
    TESK_ERR_AT(place, "%s: No SoL/CIN VLAN (%d) information in member Port (0x%x)\n", place.function, vlan,
                port->if_idx);
  }
  const uint32_t remaining = ltl & ~tesk_port_bit(port->kestrix_port);
  vlan_ports_set(vlan, remaining, place);
  tesk_krnl_vlan_info_dirty(vlan);
  tesk_port_del_vlan(port, vlan);
  tesk_krnl_port_info_dirty(port);
  if (remaining == 0 && tesk_vlan_deactivate(vlan) != 0) {
    TESK_ERR_AT(place, "%s:Failed to deactivate CIN VLAN:%d\n", place.function, vlan);
  }
}

void check_up_set_of_down_port(const tesk_port_t *port, const portsvc_l2_port_state_t *info,
                               tesk_place_t place = tesk_here()) {
  if (info->link_state == PORTSVC_LINK_DOWN && !bitset_is_range_free(&info->vlan_up_bmp, 0, TESK_VLAN_LAST)) {
    TESK_ERR_AT(place, "%s: Port (0x%x) DOWN, Non-empty VLAN UP BMP\n", place.function, port->if_idx);
  }
}

void port_up(tesk_port_t *port, const portsvc_l2_port_state_t *info, tesk_place_t place) {
  if (port != nullptr) {
    TESK_CTRL_AT(place, "%s:TESK Port (0x%x)UP and instance exists\n", place.function, info->ifindex);
  } else {
    port = tesk_create_port_context(info->ifindex, info->iod);
    if (port == nullptr) {
      TESK_ERR_AT(place, "%s:TESK Port (0x%x) instance creation failed\n", place.function, info->ifindex);
      return;
    }
    TESK_CTRL_AT(place, "%s:Instance created for Port (0x%x)\n", place.function, info->ifindex);
  }
  tesk_l2psc_vlan_state_change(port, info);
  tesk_port_upd_vlan_shadowdb(port, info);
}

void port_down(tesk_port_t *port, const portsvc_l2_port_state_t *info, tesk_place_t place) {
  if (port == nullptr) {
    TESK_ERR_AT(place, "%s:TESK Port (0x%x)DOWN and instance does not exist\n", place.function,
                info->ifindex);
    return;
  }
  tesk_port_upd_vlan_shadowdb(port, info);
  tesk_l2psc_vlan_state_change(port, info);
  if (tesk_delete_port_context(info->ifindex) == TESK_RC_SUCCESS) {
    TESK_CTRL_AT(place, "%s:Instance deleted for Port (0x%x)\n", place.function, info->ifindex);
  } else {
    TESK_ERR_AT(place, "%s:Failed to delete the port context:0x%x\n", place.function, info->ifindex);
  }
}

void port_state_change(const portsvc_l2_port_state_t *info, tesk_place_t place = tesk_here()) {
  TESK_CTRL_AT(place, "%s:QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE[0x%x,%d]\n", place.function,
               info->ifindex, info->link_state);
  if (!tesk_port_is_downlink_ifindex(info->ifindex)) {
    TESK_CTRL_AT(place, "%s:Port (0x%x) is not downlink\n", place.function, info->ifindex);
    return;
  }
  tesk_port_t *port = tesk_ifindex_hash_find(info->ifindex);
  if (info->link_state == PORTSVC_LINK_UP) {
    port_up(port, info, place);
  } else if (info->link_state == PORTSVC_LINK_DOWN) {
    port_down(port, info, place);
  } else {
    TESK_ERR_AT(place, "%s:Not handling PHY_LINK_STATE_CHG:%d for port (0x%x)\n", place.function,
                info->link_state, info->ifindex);
  }
}

boolean state_notice_is_whole(const portsvc_l2_state_change_t *notice, uint32_t size,
                              tesk_place_t place = tesk_here()) {
  if (size >= sizeof *notice && notice->num <= (size - sizeof *notice) / sizeof notice->port[0]) {
    return true;
  }
  TESK_ERR_AT(place, "%s: QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE cut short: %u bytes\n", place.function,
              size);
  return false;
}

}  // namespace

void tesk_handle_l2_protocol_state_changed_msg(qbus_msg_ref_t *msg) {
  TESK_CTRL("%s: QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE\n", __func__);
  uint32_t size = 0;
  portsvc_l2_state_change_t *payload = nullptr;
  const rcode_t result = portsvc_parse_l2_protocol_state_change(msg, &size, &payload);
  if (result != 0) {
    TESK_ERR("%s: Failed to parse PORTSVC L2 Proto change notification rc=0x%x [%s]\n", __func__, result,
             rcode2str(result));
  } else if (payload == nullptr) {
    TESK_ERR("%s: ifpld NULL when parsing msg\n", __func__);
  } else if (state_notice_is_whole(payload, size)) {
    for (uint32_t i = 0; i < payload->num; i++) {
      vlan_set_bound(&payload->port[i].vlan_up_bmp);
      vlan_set_bound(&payload->port[i].vlan_down_bmp);
      port_state_change(&payload->port[i]);
    }
  }
  free(payload);
}

void tesk_l2psc_vlan_state_change(tesk_port_t *port, const portsvc_l2_port_state_t *info) {
  TESK_CTRL("%s: Enter\n", __func__);
  check_up_set_of_down_port(port, info);
  if (info->link_state == PORTSVC_LINK_UP) {
    const vlan_bitset_t *up = &info->vlan_up_bmp;
    for (int32_t vlan = bitset_first_bit(up); vlan != -1; vlan = bitset_next_bit(up, vlan)) {
      join_vlan(port, (uint16_t)vlan);
    }
  }
  const vlan_bitset_t *down = &info->vlan_down_bmp;
  for (int32_t vlan = bitset_first_bit(down); vlan != -1; vlan = bitset_next_bit(down, vlan)) {
    leave_vlan(port, (uint16_t)vlan);
  }
}

void tesk_port_upd_vlan_shadowdb(tesk_port_t *port, const portsvc_l2_port_state_t *info) {
  TESK_CTRL("%s: Enter\n", __func__);
  check_up_set_of_down_port(port, info);
  if (info->link_state == PORTSVC_LINK_UP) {
    const vlan_bitset_t *up = &info->vlan_up_bmp;
    for (int32_t vlan = bitset_first_bit(up); vlan != -1; vlan = bitset_next_bit(up, vlan)) {
      tesk_port_shadow_add_vlan(port, (uint16_t)vlan);
    }
  }
  const vlan_bitset_t *down = &info->vlan_down_bmp;
  for (int32_t vlan = bitset_first_bit(down); vlan != -1; vlan = bitset_next_bit(down, vlan)) {
    tesk_port_shadow_del_vlan(port, (uint16_t)vlan);
  }
}
