#include <stdlib.h>

#include "tesk/kspace/teskk.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_port.h"

namespace {

/* @return the interface indexes written, at most 32 */
uint32_t list_shadow_members(uint16_t vlan, if_index_t *list, tesk_place_t place = tesk_here()) {
  uint32_t size = 0;
  for (const ifindex_hash_entry_t *entry : ifidx_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      const auto *port = (const tesk_port_t *)entry->param;
      if (port == nullptr || !tesk_port_shadow_has_vlan(port, vlan)) {
        continue;
      }
      if (size == TESK_LOOKUP_LIST_MAX) {
        TESK_ERR_AT(place, "%s:Port list size %d exhausted\n", place.function, TESK_LOOKUP_LIST_MAX);
        return size;
      }
      list[size++] = port->if_idx;
    }
  }
  return size;
}

}  // namespace

rcode_t tesk_port_vlan_delete(uint16_t vlan) {
  TESK_CTRL("%s:\n", __func__);
  for (const ifindex_hash_entry_t *entry : ifidx_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      auto *port = (tesk_port_t *)entry->param;
      if (port == nullptr) {
        TESK_ERR("%s:NULL Port Context\n", __func__);
      } else if (tesk_port_has_vlan(port, vlan)) {
        TESK_CTRL("%s: Deleting VLAN %d from Port 0x%x\n", __func__, vlan, port->if_idx);
        tesk_port_del_vlan(port, vlan);
        tesk_krnl_port_info_dirty(port);
      }
    }
  }
  return TESK_RC_SUCCESS;
}

rcode_t tesk_port_vlan_shadowdb_get_port_list(uint16_t vlan, uint32_t *if_idx_lst_sz,
                                              if_index_t **if_idx_lst) {
  *if_idx_lst_sz = 0;
  *if_idx_lst = nullptr;
  auto *list = (if_index_t *)malloc(TESK_LOOKUP_LIST_MAX * sizeof(if_index_t));
  if (list == nullptr) {
    TESK_ERR("%s:Failed to allocate memory for if_index list\n", __func__);
    return TESK_RC_NO_MEMORY;
  }
  const uint32_t size = list_shadow_members(vlan, list);
  if (size == 0) {
    free(list);
    return TESK_RC_SUCCESS;
  }
  *if_idx_lst_sz = size;
  *if_idx_lst = list;
  return TESK_RC_SUCCESS;
}

rcode_t tesk_port_get_dirty_list(tesk_port_t **list, uint16_t *count) {
  TESK_CTRL("\n");
  if (list == nullptr || count == nullptr) {
    TESK_ERR("Invalid input\n");
    return TESK_RC_FAILURE;
  }
  *count = 0;
  for (const ifindex_hash_entry_t *entry : ifidx_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      auto *port = (tesk_port_t *)entry->param;
      if (port == nullptr || !port->is_dirty) {
        continue;
      }
      if (*count < TESKK_PORTS) {
        list[*count] = port;
      }
      ++*count;
    }
  }
  return TESK_RC_SUCCESS;
}
