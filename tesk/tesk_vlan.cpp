#include "tesk/tesk_vlan.h"

#include <stdlib.h>

#include "opal/kinb.h"
#include "opal/ltlsvc.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_qbus.h"

vlan_hash_entry_t *vlan_bucket[TESK_BUCKETS];
int16_t cin_vlan_count;

namespace {

/** Type of a request to the port-index service: redirection of a VLAN's traffic. */
constexpr uint32_t redirect_vlan = 7;

/** VLANs to announce to the VLAN manager. */
typedef struct announcement {
  uint32_t count;
  vlan_id_t vlan[TESK_VLAN_LIST_MAX];
} announcement_t;

vlan_hash_entry_t *find(uint16_t vlan) {
  vlan_hash_entry_t **link = tesk_vlan_hash_find_(vlan);
  return link == nullptr ? nullptr : *link;
}

/* Keeps the token of a request that was sent, and lets go of the request. */
void keep_token(uint16_t vlan, qbus_msg_ref_t *reference) {
  (void)tesk_vlan_hash_set_req_ref(vlan, qbus_rr_token_get(reference));
  (void)qbus_drop(tesk_qbus_q, reference);
}

void use_stored_vlan(vlan_id_t stored, announcement_t *announcement, tesk_place_t place) {
  const auto vlan = (uint16_t)stored;
  if (!tesk_vlan_hash_insert(vlan)) {
    TESK_ERR_AT(place, "%s: Failed to add CIN VLAN(%d) to VLAN Hash Tbl\n", place.function, stored);
    return;
  }
  tesk_vlan_amm_accept(vlan);
  TESK_CTRL_AT(place, "%s: Using CIN VLAN (%d) from Cfg KVS\n", place.function, stored);
  cin_vlan_count++;
  announcement->vlan[announcement->count++] = stored;
}

void use_stored_vlans(announcement_t *announcement, tesk_place_t place = tesk_here()) {
  static_assert((int)TESK_CIN_VLANS_MAX <= (int)TESK_VLAN_LIST_MAX);
  uint16_t count = 0;
  vlan_id_t *list = nullptr;
  if (tesk_kvs_cin_running_vlan_config_get(&count, &list) != 0) {
    TESK_ERR_AT(place, "%s: Failed to get CIN VLAN configuration from KVS\n", place.function);
    return;
  }
  for (uint16_t i = 0; i < count; i++) {
    if (cin_vlan_count > TESK_CIN_VLANS_MAX - 1) {
      TESK_ERR_AT(place,
                  "Maximum number (%d) of supported CIN VLANs exceeded.Ignoring further VLANs in KVS\n",
                  TESK_CIN_VLANS_MAX);
      break;
    }
    use_stored_vlan(list[i], announcement, place);
  }
  TESK_CTRL_AT(place, "Retrieved %d CIN VLANs from KVS\n", cin_vlan_count);
  free(list);
}

}  // namespace

boolean tesk_init_vlan() {
  cin_vlan_count = 0;
  for (vlan_hash_entry_t *&head : vlan_bucket) {
    head = nullptr;
  }
  if (!tesk_vlan_hash_insert(sol_vlan)) {
    TESK_ERR("%s: Failed to add SoL VLAN(%d) to VLAN Hash Tbl\n", __func__, sol_vlan);
    return false;
  }
  tesk_vlan_amm_accept(sol_vlan);
  announcement_t announcement;
  announcement.count = 0;
  use_stored_vlans(&announcement);
  if (announcement.count != 0) {
    if (tesk_send_set_feat_in_vlan(announcement.vlan, announcement.count) == 0) {
      TESK_CTRL("tesk_send_set_feat_in_vlan succeeded.\n");
    } else {
      TESK_ERR("tesk_send_set_feat_in_vlan failed for %d vlans.\n", announcement.count);
    }
  }
  (void)kinb_libinit();
  return true;
}

boolean tesk_vlan_hash_insert(uint16_t vlan) {
  if (tesk_vlan_hash_find_(vlan) != nullptr) {
    TESK_ERR("%s: VLAN (%d) already exists on Hash Tbl\n", __func__, vlan);
    return false;
  }
  auto *entry = (vlan_hash_entry_t *)malloc(sizeof(vlan_hash_entry_t));
  if (entry == nullptr) {
    return false;
  }
  vlan_hash_entry_t **head = &vlan_bucket[vlan % TESK_BUCKETS];
  *entry = {
      .vlan = vlan, .ltl = 0, .cbl = 0, .rr_token = TESK_RR_TOKEN_NONE, .is_dirty = false, .next = *head};
  *head = entry;
  (void)tesk_krnl_add_or_update_vlan(entry);
  return true;
}

vlan_hash_entry_t **tesk_vlan_hash_find_(uint16_t vlan) {
  for (vlan_hash_entry_t **link = &vlan_bucket[vlan % TESK_BUCKETS]; *link != nullptr;
       link = &(*link)->next) {
    if ((*link)->vlan == vlan) {
      return link;
    }
  }
  return nullptr;
}

uint32_t tesk_vlan_hash_get_cbl_ltl(uint16_t vlan) {
  const vlan_hash_entry_t *entry = find(vlan);
  return entry == nullptr ? TESK_LTL_ABSENT : entry->ltl & entry->cbl;
}

uint32_t tesk_vlan_hash_get_ltl(uint16_t vlan) {
  const vlan_hash_entry_t *entry = find(vlan);
  return entry == nullptr ? TESK_LTL_ABSENT : entry->ltl;
}

boolean tesk_vlan_hash_set_cbl(uint16_t vlan, uint32_t cbl) {
  vlan_hash_entry_t *entry = find(vlan);
  if (entry == nullptr) {
    return false;
  }
  entry->cbl = cbl;
  TESK_CTRL("%s:VLAN:%d, CBL:0x%x\n", __func__, vlan, cbl);
  tesk_krnl_vlan_info_dirty_(entry);
  return true;
}

boolean tesk_vlan_hash_set_ltl(uint16_t vlan, uint32_t ltl) {
  vlan_hash_entry_t *entry = find(vlan);
  if (entry == nullptr) {
    return false;
  }
  entry->ltl = ltl;
  TESK_CTRL("%s:VLAN:%d, LTL:0x%x\n", __func__, vlan, ltl);
  tesk_krnl_vlan_info_dirty_(entry);
  return true;
}

boolean tesk_vlan_hash_set_req_ref(uint16_t vlan, uint32_t rr_token) {
  vlan_hash_entry_t *entry = find(vlan);
  if (entry == nullptr) {
    return false;
  }
  entry->rr_token = rr_token;
  TESK_CTRL("%s:VLAN:%d, rr_token:0x%x\n", __func__, vlan, rr_token);
  return true;
}

boolean tesk_vlan_hash_delete(uint16_t vlan) {
  vlan_hash_entry_t **link = tesk_vlan_hash_find_(vlan);
  if (link == nullptr) {
    return false;
  }
  vlan_hash_entry_t *entry = *link;
  (void)tesk_krnl_del_vlan(entry);
  *link = entry->next;
  free(entry);
  return true;
}

int tesk_vlan_activate(uint16_t vlan) {
  qbus_msg_ref_t reference = {};
  int result = ltlsvc_send_ltl_alloc(tesk_qbus_q, redirect_vlan, vlan, 0, 0, 0, &reference);
  if (result != 0) {
    TESK_ERR("%s: Tesk traffic redirection setup for vlan %d failed\n", __func__, vlan);
    return result;
  }
  keep_token(vlan, &reference);
  result = kinb_tesk_vlan_add(vlan);
  if (result != 0) {
    TESK_ERR("%s: Tesk classification setup for vlan %d failed\n", __func__, vlan);
  } else {
    TESK_CTRL("%s: Tesk classification setup for vlan %d done\n", __func__, vlan);
  }
  return result;
}

int tesk_vlan_deactivate(uint16_t vlan) {
  int result = kinb_tesk_vlan_del(vlan);
  if (result != 0) {
    TESK_ERR("%s: Tesk classification deletion for vlan %d failed\n", __func__, vlan);
    return result;
  }
  TESK_CTRL("%s: Tesk classification deletion for vlan %d done\n", __func__, vlan);
  qbus_msg_ref_t reference = {};
  result = ltlsvc_send_ltl_dealloc(tesk_qbus_q, 0, redirect_vlan, vlan, 0, 0, &reference);
  if (result != 0) {
    TESK_ERR("%s: Tesk traffic redirection disable for vlan %d failed\n", __func__, vlan);
    return result;
  }
  keep_token(vlan, &reference);
  return 0;
}
