#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"

namespace {

/* The records that one synchronisation collects. */
tesk_port_t *tesk_port_list[TESKK_PORTS];
vlan_hash_entry_t *tesk_vlan_list[TESKK_VLANS];

}  // namespace

rcode_t tesk_krnl_sync_port() {
  TESK_CTRL("\n");
  uint16_t gathered = 0;
  rcode_t result = tesk_port_get_dirty_list(tesk_port_list, &gathered);
  if (result != TESK_RC_SUCCESS) {
    TESK_ERR("Failed to retrieve dirty port list");
    return result;
  }
  if (gathered != dirty_port_count) {
    TESK_ERR("Dirty Port List count inconsistency:%d/%d\n", gathered, dirty_port_count);
  }
  result = tesk_krnl_add_or_update_ports(tesk_port_list, gathered);
  if (result != TESK_RC_SUCCESS) {
    TESK_ERR("Failed to synchronize dirty port list");
    return result;
  }
  dirty_port_count = 0;
  return TESK_RC_SUCCESS;
}

rcode_t tesk_krnl_sync_vlan() {
  TESK_CTRL("\n");
  uint16_t gathered = 0;
  rcode_t result = tesk_vlan_get_dirty_list(tesk_vlan_list, &gathered);
  if (result != TESK_RC_SUCCESS) {
    TESK_ERR("Failed to retrieve dirty vlan list");
    return result;
  }
  if (gathered != dirty_vlan_count) {
    TESK_ERR("Dirty Vlan List count inconsistency:%d/%d\n", gathered, dirty_vlan_count);
  }
  result = tesk_krnl_add_or_update_vlans(tesk_vlan_list, gathered);
  if (result != TESK_RC_SUCCESS) {
    TESK_ERR("Failed to synchronize dirty Vlan list");
    return result;
  }
  dirty_vlan_count = 0;
  return TESK_RC_SUCCESS;
}

rcode_t tesk_krnl_do_sync() {
  TESK_CTRL("\n");
  if (dirty_port_count != 0) {
    const rcode_t result = tesk_krnl_sync_port();
    if (result != TESK_RC_SUCCESS) {
      return result;
    }
  }
  return dirty_vlan_count != 0 ? tesk_krnl_sync_vlan() : (rcode_t)TESK_RC_SUCCESS;
}
