#include <stdlib.h>

#include "tesk/kspace/teskk.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_vlan.h"

namespace {

/* @return the VLANs written, at most 32 */
uint32_t list_cin_vlans(vlan_id_t *list, tesk_place_t place = tesk_here()) {
  uint32_t count = 0;
  for (const vlan_hash_entry_t *entry : vlan_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      if (entry->vlan == sol_vlan) {
        continue;
      }
      if (count == TESK_LOOKUP_LIST_MAX) {
        TESK_ERR_AT(place, "%s:VLAN list size %d exhausted\n", place.function, TESK_LOOKUP_LIST_MAX);
        return count;
      }
      list[count++] = entry->vlan;
    }
  }
  return count;
}

}  // namespace

rcode_t tesk_vlan_get_vlan_list(uint32_t *vlan_count, vlan_id_t **vlan_list) {
  *vlan_count = 0;
  *vlan_list = nullptr;
  auto *list = (vlan_id_t *)malloc(TESK_LOOKUP_LIST_MAX * sizeof(vlan_id_t));
  if (list == nullptr) {
    TESK_ERR("%s:Failed to allocate memory for vlan list\n", __func__);
    return TESK_RC_NO_MEMORY;
  }
  const uint32_t count = list_cin_vlans(list);
  if (count == 0) {
    free(list);
    return TESK_RC_SUCCESS;
  }
  *vlan_count = count;
  *vlan_list = list;
  return TESK_RC_SUCCESS;
}

rcode_t tesk_vlan_cbl_change_one_port(tesk_port_t *port, const vlan_bitset_t *cbl_bmp) {
  const uint32_t bit = tesk_port_bit(port->kestrix_port);
  for (vlan_hash_entry_t *entry : vlan_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      if (entry->vlan != sol_vlan && !bitset_is_bit_set(cbl_bmp, entry->vlan)) {
        entry->cbl &= ~bit;
      } else {
        entry->cbl |= bit;
      }
      tesk_krnl_vlan_info_dirty_(entry);
      TESK_CTRL("%s: Port[%08x], VLAN[%d], CBL[%05x]\n", __func__, port->if_idx, entry->vlan, entry->cbl);
    }
  }
  return TESK_RC_SUCCESS;
}

rcode_t tesk_vlan_get_dirty_list(vlan_hash_entry_t **list, uint16_t *vlan_cnt) {
  TESK_CTRL("\n");
  if (list == nullptr || vlan_cnt == nullptr) {
    TESK_ERR("Invalid input\n");
    return TESK_RC_FAILURE;
  }
  *vlan_cnt = 0;
  for (vlan_hash_entry_t *entry : vlan_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      if (!entry->is_dirty) {
        continue;
      }
      if (*vlan_cnt < TESKK_VLANS) {
        list[*vlan_cnt] = entry;
      }
      ++*vlan_cnt;
    }
  }
  return TESK_RC_SUCCESS;
}
