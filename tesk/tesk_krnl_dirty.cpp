#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"

uint16_t dirty_port_count;
uint16_t dirty_vlan_count;

void tesk_krnl_vlan_info_dirty_(vlan_hash_entry_t *entry) {
  TESK_CTRL("\n");
  if (!entry->is_dirty) {
    entry->is_dirty = true;
    dirty_vlan_count++;
  }
}

void tesk_krnl_vlan_info_dirty(uint16_t vlan) {
  TESK_CTRL("\n");
  vlan_hash_entry_t **link = tesk_vlan_hash_find_(vlan);
  if (link != nullptr) {
    tesk_krnl_vlan_info_dirty_(*link);
  }
}

void tesk_krnl_port_info_dirty(tesk_port_t *port) {
  TESK_CTRL("\n");
  if (!port->is_dirty) {
    port->is_dirty = true;
    dirty_port_count++;
  }
}
