#include "tesk/tesk_krnl_adapter.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/ioctl.h>

#include "tesk/tesk_dbg.h"

int teskkfd = -1;
namespace {

/* Buffers in which the records of a request are built. */
teskk_port_list_t port_lst;
teskk_vlan_list_t vlan_lst;

/* Copies the lowest VLANs of a port, as many as the record holds. */
void fill_port_vlans(teskk_port_info_t *info, const tesk_port_t *port, tesk_place_t place = tesk_here()) {
  info->vlan_cnt = 0;
  for (int32_t vlan = bitset_first_bit(&port->vlan_bmp); vlan != -1;
       vlan = bitset_next_bit(&port->vlan_bmp, vlan)) {
    if (info->vlan_cnt == TESKK_PORT_VLANS) {
      TESK_ERR_AT(place, "Max VLAN count reached for port: 0x%x\n", port->if_idx);
      return;
    }
    teskk_port_vlan_t *entry = &info->vlan_lst[info->vlan_cnt++];
    entry->vlan = (uint16_t)vlan;
    entry->cbl_fwd = (uint8_t)tesk_port_vlan_forwarding(port, (uint16_t)vlan);
  }
}

rcode_t request(unsigned long number, void *record, tesk_place_t place = tesk_here()) {
  if (ioctl(teskkfd, number, record) < 0) {
    TESK_ERR_AT(place, "ioctl failure: %d\n", errno);
    return TESK_RC_FAILURE;
  }
  return TESK_RC_SUCCESS;
}

}  // namespace

rcode_t tesk_krnl_adapter_init() {
  TESK_CTRL("\n");
  const int descriptor = open(TESKK_DEVICE, O_RDONLY);
  if (descriptor < 0) {
    TESK_ERR("Failed to open %s, err:%d\n", TESKK_DEVICE, errno);
    return TESK_RC_FAILURE;
  }
  teskkfd = descriptor;
  return TESK_RC_SUCCESS;
}

rcode_t tesk_krnl_add_or_update_vlans(vlan_hash_entry_t **list, uint16_t count) {
  TESK_CTRL("\n");
  if (list == nullptr) {
    TESK_ERR("Invalid Input\n");
    return TESK_RC_FAILURE;
  }
  if (count > TESKK_VLANS) {
    TESK_ERR("Invalid VLAN Count\n");
    return TESK_RC_FAILURE;
  }
  vlan_lst.vlan_cnt = count;
  for (uint16_t i = 0; i < count; i++) {
    vlan_lst.vlan_lst[i].vlan = list[i]->vlan;
    vlan_lst.vlan_lst[i].ltl_cbl = list[i]->ltl & list[i]->cbl;
    list[i]->is_dirty = false;
  }
  return request(TESKK_ADD_OR_UPDATE_VLANS, &vlan_lst);
}

rcode_t tesk_krnl_add_or_update_vlan(vlan_hash_entry_t *entry) {
  TESK_CTRL("\n");
  return tesk_krnl_add_or_update_vlans(&entry, 1);
}

rcode_t tesk_krnl_del_vlan(vlan_hash_entry_t *entry) {
  TESK_CTRL("\n");
  if (entry == nullptr) {
    TESK_ERR("Invalid Input\n");
    return TESK_RC_FAILURE;
  }
  if (entry->is_dirty) {
    entry->is_dirty = false;
    dirty_vlan_count--;
  }
  return request(TESKK_DEL_VLAN, &entry->vlan);
}

rcode_t tesk_krnl_add_or_update_ports(tesk_port_t **list, uint16_t count) {
  TESK_CTRL("\n");
  if (list == nullptr) {
    TESK_ERR("Invalid Input\n");
    return TESK_RC_FAILURE;
  }
  if (count > TESKK_PORTS) {
    TESK_ERR("Invalid Port Count\n");
    return TESK_RC_FAILURE;
  }
  port_lst.port_cnt = count;
  for (uint16_t i = 0; i < count; i++) {
    tesk_port_t *port = list[i];
    if (port == nullptr) {
      TESK_ERR("Invalid Port instance\n");
      return TESK_RC_FAILURE;
    }
    teskk_port_info_t *info = &port_lst.port_lst[i];
    info->if_idx = port->if_idx;
    info->if_type = port->if_type;
    info->kestrix_port = port->kestrix_port;
    fill_port_vlans(info, port);
    port->is_dirty = false;
  }
  /* A refusal is traced and counts as delivered. */
  (void)request(TESKK_ADD_OR_UPDATE_PORTS, &port_lst);
  return TESK_RC_SUCCESS;
}

rcode_t tesk_krnl_add_or_update_port(tesk_port_t *port) {
  TESK_CTRL("\n");
  return tesk_krnl_add_or_update_ports(&port, 1);
}

rcode_t tesk_krnl_del_port(tesk_port_t *port) {
  TESK_CTRL("\n");
  if (port == nullptr) {
    TESK_ERR("Invalid Input\n");
    return TESK_RC_FAILURE;
  }
  if (port->is_dirty) {
    port->is_dirty = false;
    dirty_port_count--;
  }
  return request(TESKK_DEL_PORT, &port->if_idx);
}

rcode_t tesk_krnl_get_port_counters(if_index_t if_idx, tesk_cli_sh_stat_t *stat) {
  TESK_CTRL("\n");
  if (stat == nullptr) {
    TESK_ERR("Invalid Input\n");
    return TESK_RC_FAILURE;
  }
  teskk_port_counters_t counters = {};
  counters.if_idx = if_idx;
  const rcode_t result = request(TESKK_GET_PORT_COUNTERS, &counters);
  if (result != TESK_RC_SUCCESS) {
    return result;
  }
  stat->tx_pkt_ucast = counters.tx_ucast;
  stat->tx_pkt_mcast = counters.tx_mcast;
  stat->rx_pkt_ucast = counters.rx_ucast;
  stat->rx_pkt_mcast = counters.rx_mcast;
  stat->if_idx = if_idx;
  return TESK_RC_SUCCESS;
}
