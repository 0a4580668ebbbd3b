#include "tesk/tesk_port.h"

#include <stdlib.h>
#include <string.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_vlan.h"

tesk_port_t amm_mgmt_port;

namespace {

void vlan_set_init(vlan_bitset_t *set) {
  set->size = VLAN_BITSET_BYTES;
  bitset_clear(set);
}

tesk_port_t *context_allocate(if_index_t if_idx, if_index_type_t if_type, if_ordinal iod) {
  auto *port = (tesk_port_t *)calloc(1, sizeof(tesk_port_t));
  if (port != nullptr) {
    port->if_idx = if_idx;
    port->if_type = if_type;
    port->iod = iod;
    port->is_dirty = false;
    vlan_set_init(&port->vlan_bmp);
    vlan_set_init(&port->shadow_vlan_bmp);
    vlan_set_init(&port->vlan_cbl_bmp);
  }
  return port;
}

void sol_ports_set(uint32_t ltl, tesk_place_t place = tesk_here()) {
  if (!tesk_vlan_hash_set_ltl(sol_vlan, ltl)) {
    TESK_ERR_AT(place, "%s: Failed to set LTL(0x%x) for VLAN(%d)\n", place.function, ltl, sol_vlan);
  }
  tesk_krnl_vlan_info_dirty(sol_vlan);
}

}  // namespace

boolean tesk_init_ports() {
  for (tesk_port_t *&slot : kes_port_map) {
    slot = nullptr;
  }
  memset(&amm_mgmt_port, 0, sizeof amm_mgmt_port);
  vlan_set_init(&amm_mgmt_port.vlan_bmp);
  vlan_set_init(&amm_mgmt_port.shadow_vlan_bmp);
  const uint32_t number = vorlund_platform ? 1 : 0;
  if (if_index_mgmt_sup_port_init(&amm_mgmt_port.if_idx, 0, number) != 0) {
    TESK_ERR("%s: Failed to derive if_index for Management Port(%d)\n", __func__, number);
    return false;
  }
  if (if_index_get_type(amm_mgmt_port.if_idx, &amm_mgmt_port.if_type) != 0) {
    TESK_ERR("%s: Failed to derive if type for (0x%x)\n", __func__, amm_mgmt_port.if_idx);
    return false;
  }
  tesk_ifindex_hash_init();
  if (tesk_krnl_add_or_update_port(&amm_mgmt_port) != 0) {
    TESK_ERR("Synchronization with kernel failed\n");
  }
  return true;
}

tesk_port_t *tesk_create_port_context(if_index_t if_idx, if_ordinal iod) {
  if_index_type_t if_type = 0;
  if (if_index_get_type(if_idx, &if_type) != 0) {
    TESK_ERR("%s:Invalid interface index 0x%08x\n", __func__, if_idx);
    return nullptr;
  }
  tesk_port_t *port = context_allocate(if_idx, if_type, iod);
  if (port == nullptr) {
    return nullptr;
  }
  port->kestrix_port = tesk_ifindex_to_kes_port(if_idx);
  if (port->kestrix_port == TESK_NO_ASIC_PORT) {
    TESK_ERR("%s:Failed to retrieve Kestrix Port ID\n", __func__);
    free(port);
    return nullptr;
  }
  tesk_port_add_vlan(port, sol_vlan);
  if (!tesk_ifindex_hash_insert(if_idx, port)) {
    TESK_ERR("%s: Failed to add port context(0x%x) to hash\n", __func__, if_idx);
    free(port);
    return nullptr;
  }
  const uint32_t ltl = tesk_vlan_hash_get_ltl(sol_vlan);
  if (ltl == TESK_LTL_ABSENT) {
    TESK_ERR("%s:Failed to retrieve Kestrix Port ID\n", __func__);
    /* The entry stays in the table and in the kernel module; only its context is gone. */
    tesk_ifindex_hash_detach(port);
    free(port);
    return nullptr;
  }
  sol_ports_set(ltl | tesk_port_bit(port->kestrix_port));
  (void)tesk_setup_kes_to_port_map(port);
  return port;
}

rcode_t tesk_delete_port_context(if_index_t if_idx) {
  tesk_port_t *port = tesk_ifindex_hash_find(if_idx);
  if (port == nullptr) {
    TESK_ERR("%s: Failed to retrieve the port context for if_index(0x%x)\n", __func__, if_idx);
    return TESK_RC_NO_PORT;
  }
  if (!tesk_fib_purge_port_entries(port)) {
    TESK_ERR("%s: Failed to purge FIB entries for Port [0x%x]\n", __func__, if_idx);
  }
  (void)tesk_remove_kes_to_port_map(port);
  const uint32_t ltl = tesk_vlan_hash_get_ltl(sol_vlan);
  if (ltl == TESK_LTL_ABSENT) {
    TESK_ERR("%s:Failed to retrieve Kestrix Port ID\n", __func__);
  } else {
    sol_ports_set(ltl & ~tesk_port_bit(port->kestrix_port));
  }
  if (!tesk_ifindex_hash_delete(if_idx)) {
    TESK_ERR("%s: Failed to delete port context(0x%x) from hash\n", __func__, if_idx);
    tesk_ifindex_hash_detach(port);
  }
  free(port);
  return TESK_RC_SUCCESS;
}
