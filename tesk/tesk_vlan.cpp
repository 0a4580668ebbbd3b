#include "tesk/tesk_vlan.h"

#include <stdlib.h>

#include "opal/kinb.h"
#include "opal/ltlsvc.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_qbus.h"

namespace {

/** Type of a request to the port-index service: redirection of a VLAN's traffic. */
constexpr uint32_t redirect_vlan = 7;

vlan_hash_entry_t *find(uint16_t vlan) {
  vlan_hash_entry_t **link = tesk_vlan_hash_find_(vlan);
  return link == nullptr ? nullptr : *link;
}

/* Stores the token of a request that was sent, and drops the request. */
void keep_token(uint16_t vlan, qbus_msg_ref_t *reference) {
  (void)tesk_vlan_hash_set_req_ref(vlan, qbus_rr_token_get(reference));
  (void)qbus_drop(tesk_qbus_q, reference);
}

}  // namespace

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
