#include "opal/chanagg.h"
#include "opal/ltlsvc.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_port.h"

static_assert((int)TESK_PC_MEMBERS_MAX <= (int)CHANAGG_MEMBERS);

tesk_port_t *kes_port_map[TESK_ASIC_PORTS];

namespace {

boolean chanagg_get_member_fop_ifindex(if_index_t port_channel, if_index_t *member) {
  chanagg_pc_info_t info = {};
  const rcode_t result = chanagg_get_pc_info(port_channel, &info);
  if (result != 0) {
    TESK_ERR("%s:chanagg_get_pc_info failed for 0x%08x, rc:%#x\n", __func__, port_channel, result);
    return false;
  }
  if (info.fop_ifindex == 0) {
    TESK_ERR("%s:chanagg_get_pc_info for 0x%08x returned fop:%#x\n", __func__, port_channel,
             info.fop_ifindex);
    return false;
  }
  TESK_CTRL("%s:PC IfIndex [0x%x], FOP IfIndex[0x%x]\n", __func__, port_channel, info.fop_ifindex);
  *member = info.fop_ifindex;
  return true;
}

/* Keeps the members' ASIC ports up to the first that has none. */
void map_members(tesk_port_t *port, const chanagg_pc_info_t *info, tesk_place_t place = tesk_here()) {
  const uint32_t members = info->member_count;
  port->pc_member_count = members < TESK_PC_MEMBERS_MAX ? (uint8_t)members : (uint8_t)TESK_PC_MEMBERS_MAX;
  for (uint8_t i = 0; i < port->pc_member_count; i++) {
    const uint8_t kestrix_port = tesk_ifindex_to_kes_port(info->member[i]);
    if (kestrix_port == TESK_NO_ASIC_PORT) {
      port->pc_member_count = i;
      TESK_ERR_AT(place, "%s:tesk_ifindex_to_kes_port failed for 0x%08x\n", place.function, port->if_idx);
      return;
    }
    port->pc_member_list[i] = kestrix_port;
    if (kestrix_port < TESK_ASIC_PORTS) {
      kes_port_map[kestrix_port] = port;
    }
  }
}

}  // namespace

uint8_t tesk_ifindex_to_kes_port(if_index_t if_idx) {
  if_index_type_t type = 0;
  if (if_index_get_type(if_idx, &type) != 0) {
    TESK_ERR("Invalid interface index 0x%08x\n", if_idx);
    return TESK_NO_ASIC_PORT;
  }
  if (type == IF_INDEX_TYPE_PORT_CHANNEL && !chanagg_get_member_fop_ifindex(if_idx, &if_idx)) {
    return TESK_NO_ASIC_PORT;
  }
  uint32_t di = 0;
  if (ltlsvc_lib_ifidx_to_di(if_idx, &di) != 0) {
    TESK_ERR("%s:if_index_get_port failed for ifindex 0x%x\n", __func__, if_idx);
    return TESK_NO_ASIC_PORT;
  }
  const auto kestrix_port = (uint8_t)di;
  TESK_CTRL("%s:IfIndex [0x%x], Kestrix Port[%d]\n", __func__, if_idx, kestrix_port);
  return kestrix_port;
}

boolean tesk_port_is_downlink_kes(uint8_t kestrix_port) {
  if (!vorlund_platform) {
    return true;
  }
  const bool uplink = (kestrix_port >= 4 && kestrix_port <= 6) || (kestrix_port >= 14 && kestrix_port <= 16);
  return !uplink;
}

boolean tesk_port_is_downlink_ifindex(if_index_t if_idx) {
  if (!vorlund_platform) {
    return true;
  }
  const uint8_t kestrix_port = tesk_ifindex_to_kes_port(if_idx);
  if (kestrix_port == TESK_NO_ASIC_PORT) {
    TESK_ERR("%s:Failed to derive Kestrix port for ifindex 0x%x\n", __func__, if_idx);
    return false;
  }
  const boolean downlink = tesk_port_is_downlink_kes(kestrix_port);
  TESK_CTRL("%s:IfIndex [0x%x] %s Port\n", __func__, if_idx, downlink ? "Downlink" : "Uplink");
  return downlink;
}

boolean tesk_setup_kes_to_port_map(tesk_port_t *port) {
  if (port->if_type != IF_INDEX_TYPE_PORT_CHANNEL) {
    if (port->kestrix_port < TESK_ASIC_PORTS) {
      kes_port_map[port->kestrix_port] = port;
    }
    return true;
  }
  chanagg_pc_info_t info = {};
  const rcode_t result = chanagg_get_pc_info(port->if_idx, &info);
  if (result != 0) {
    TESK_ERR("%s:chanagg_get_pc_info failed for 0x%08x, rc:%#x\n", __func__, port->if_idx, result);
    return false;
  }
  map_members(port, &info);
  return true;
}

boolean tesk_remove_kes_to_port_map(tesk_port_t *port) {
  if (port->if_type != IF_INDEX_TYPE_PORT_CHANNEL) {
    if (port->kestrix_port < TESK_ASIC_PORTS) {
      kes_port_map[port->kestrix_port] = nullptr;
    }
    return true;
  }
  for (uint8_t i = 0; i < port->pc_member_count && i < TESK_PC_MEMBERS_MAX; i++) {
    if (port->pc_member_list[i] < TESK_ASIC_PORTS) {
      kes_port_map[port->pc_member_list[i]] = nullptr;
    }
  }
  return true;
}

tesk_port_t *tesk_kes_port_to_port_context(uint8_t kestrix_port) {
  return kestrix_port < TESK_ASIC_PORTS ? kes_port_map[kestrix_port] : nullptr;
}
