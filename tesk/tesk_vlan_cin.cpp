#include <stdlib.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_vlan.h"

int16_t cin_vlan_count;

namespace {

/** Port masks of a VLAN's members. */
typedef struct member_masks {
  uint32_t ltl;
  uint32_t cbl;
} member_masks_t;

/** A failed step of a VLAN's removal: what still holds the VLAN, and the prefix of a notice's trace. */
typedef struct removal_failure {
  const char *keeper;
  const char *notice_gap;
} removal_failure_t;

constexpr removal_failure_t ports_failed = {.keeper = "Port Contexts", .notice_gap = ": "};
constexpr removal_failure_t store_failed = {.keeper = "KVS", .notice_gap = ":"};
constexpr removal_failure_t table_failed = {.keeper = "Hash Table", .notice_gap = ": "};

boolean is_configured(uint16_t vlan) { return tesk_vlan_hash_get_ltl(vlan) != TESK_LTL_ABSENT; }

void count_check(tesk_place_t place = tesk_here()) {
  if (cin_vlan_count < 1 || cin_vlan_count > TESK_CIN_VLANS_MAX) {
    TESK_ERR_AT(place, "Invalid CIN VLAN count:%d\n", cin_vlan_count);
  }
}

void count_lower(tesk_place_t place = tesk_here()) {
  cin_vlan_count--;
  if (cin_vlan_count < 0) {
    TESK_ERR_AT(place, "Correcting CIN VLAN count (%d)\n", cin_vlan_count);
    cin_vlan_count = 0;
  }
}

/* @return false when the limit is reached */
boolean count_has_room(tesk_place_t place = tesk_here()) {
  if ((uint16_t)cin_vlan_count > TESK_CIN_VLANS_MAX) {
    TESK_ERR_AT(place, "Invalid CIN VLAN count:%d\n", cin_vlan_count);
  }
  if (cin_vlan_count > TESK_CIN_VLANS_MAX - 1) {
    TESK_ERR_AT(place,
                "Maximum number (%d) of supported CIN VLANs exceeded.Cannot configure more CIN VLANs\n",
                TESK_CIN_VLANS_MAX);
    return false;
  }
  return true;
}

/* Adds the downlink ports of a list to the VLAN as members. */
member_masks_t join_members(uint16_t vlan, const if_index_t *list, uint32_t size, tesk_place_t place) {
  member_masks_t masks = {.ltl = 0, .cbl = 0};
  for (uint32_t i = 0; i < size; i++) {
    if (!tesk_port_is_downlink_ifindex(list[i])) {
      continue;
    }
    tesk_port_t *port = tesk_ifindex_hash_find(list[i]);
    if (port == nullptr) {
      TESK_ERR_AT(place, "%s:Failed to Retrieve Port Context for 0x%x\n", place.function, list[i]);
      continue;
    }
    tesk_port_add_vlan(port, vlan);
    tesk_krnl_port_info_dirty(port);
    masks.ltl |= tesk_port_bit(port->kestrix_port);
    if (tesk_port_vlan_forwarding(port, vlan)) {
      masks.cbl |= tesk_port_bit(port->kestrix_port);
    }
  }
  return masks;
}

/* Stores the masks of the members, and activates the VLAN if it has members. */
boolean apply_masks(uint16_t vlan, const member_masks_t *masks, tesk_place_t place) {
  if (masks->ltl == 0) {
    TESK_CTRL_AT(place, "%s:VLAN %d not active on any downlink port\n", place.function, vlan);
  } else {
    if (!tesk_vlan_hash_set_ltl(vlan, masks->ltl)) {
      TESK_ERR_AT(place, "%s:Failed to set LTL: %05x for VLAN %d\n", place.function, masks->ltl, vlan);
      return false;
    }
    if (tesk_vlan_activate(vlan) != 0) {
      TESK_ERR_AT(place, "%s: Failed to activate VLAN %d\n", place.function, vlan);
      return false;
    }
  }
  if (masks->cbl != 0 && !tesk_vlan_hash_set_cbl(vlan, masks->cbl)) {
    TESK_ERR_AT(place, "%s:Failed to set CBL: %05x for VLAN %d\n", place.function, masks->cbl, vlan);
    return false;
  }
  return true;
}

boolean bring_up_members(uint16_t vlan, tesk_place_t place = tesk_here()) {
  uint32_t size = 0;
  if_index_t *list = nullptr;
  boolean done = true;
  if (tesk_port_vlan_shadowdb_get_port_list(vlan, &size, &list) != 0) {
    TESK_ERR_AT(place, "%s:Failed to retrieve the member ports for VLAN %d\n", place.function, vlan);
    done = false;
  } else if (size == 0) {
    TESK_CTRL_AT(place, "%s:Empty if_index list for VLAN %d\n", place.function, vlan);
  } else {
    const member_masks_t masks = join_members(vlan, list, size, place);
    done = apply_masks(vlan, &masks, place);
  }
  free(list);
  return done;
}

/* Does the steps that command and notice share. @return the step that failed, null for none */
const removal_failure_t *remove_vlan(uint16_t vlan) {
  if (tesk_port_vlan_delete(vlan) != 0) {
    return &ports_failed;
  }
  tesk_vlan_amm_refuse(vlan);
  if (tesk_kvs_del_cin_vlan_config(vlan) != 0) {
    return &store_failed;
  }
  return tesk_vlan_hash_delete(vlan) ? nullptr : &table_failed;
}

/* @return false when the VLAN was not removed completely */
boolean remove_deleted_vlan(uint16_t vlan, tesk_place_t place = tesk_here()) {
  if (!is_configured(vlan)) {
    TESK_ERR_AT(place, "%s:VLAN %d had not been configured as CIN VLAN\n", place.function, vlan);
    return false;
  }
  count_check(place);
  const removal_failure_t *failure = remove_vlan(vlan);
  if (failure != nullptr) {
    TESK_ERR_AT(place, "%s%sFailed to delete VLAN %d from %s\n", place.function, failure->notice_gap, vlan,
                failure->keeper);
    return false;
  }
  count_lower(place);
  return true;
}

}  // namespace

void tesk_vlan_amm_accept(uint16_t vlan) {
  tesk_port_add_vlan(&amm_mgmt_port, vlan);
  tesk_krnl_port_info_dirty(&amm_mgmt_port);
}

void tesk_vlan_amm_refuse(uint16_t vlan) {
  tesk_port_del_vlan(&amm_mgmt_port, vlan);
  tesk_krnl_port_info_dirty(&amm_mgmt_port);
}

boolean tesk_cli_vlan_add_handler(vlan_id_t vlan_id) {
  if (vlan_id < TESK_CIN_VLAN_FIRST || vlan_id > TESK_CIN_VLAN_LAST) {
    return false;
  }
  const auto vlan = (uint16_t)vlan_id;
  if (is_configured(vlan)) {
    TESK_CTRL("%s:VLAN %d has already been configured as CIN VLAN\n", __func__, vlan);
    return true;
  }
  if (!count_has_room()) {
    return false;
  }
  if (!tesk_vlan_hash_insert(vlan)) {
    TESK_ERR("%s:Failed to insert VLAN %d in Hash Table\n", __func__, vlan);
    return false;
  }
  if (tesk_kvs_add_cin_vlan_config(vlan) != 0) {
    TESK_ERR("%s:Failed to add VLAN %d to KVS\n", __func__, vlan);
    return false;
  }
  tesk_vlan_amm_accept(vlan);
  if (!bring_up_members(vlan)) {
    return false;
  }
  cin_vlan_count++;
  return true;
}

boolean tesk_cli_vlan_del_handler(vlan_id_t vlan_id) {
  const auto vlan = (uint16_t)vlan_id;
  if (!is_configured(vlan)) {
    TESK_CTRL("VLAN %d had not been configured as CIN VLAN\n", vlan);
    return false;
  }
  const uint32_t ltl = tesk_vlan_hash_get_ltl(vlan);
  count_check();
  if (ltl != 0 && tesk_vlan_deactivate(vlan) != 0) {
    TESK_ERR("Failed to deactivate VLAN %d\n", vlan);
    return false;
  }
  const removal_failure_t *failure = remove_vlan(vlan);
  if (failure != nullptr) {
    TESK_ERR("Failed to delete VLAN %d from %s\n", vlan, failure->keeper);
    return false;
  }
  count_lower();
  return true;
}

void tesk_vlan_vlan_mgr_deleted_handler(qbus_msg_ref_t *msg) {
  vlan_delete_notif_local_t *records = nullptr;
  uint32_t count = 0;
  if (vlan_mgr_parse_notification_msg_local(msg, &records, &count) != 0) {
    TESK_ERR("%s: Failed to retrieve message payload\n", __func__);
    return;
  }
  vlan_id_t removed[TESK_VLAN_LIST_MAX];
  uint32_t removed_count = 0;
  for (uint32_t i = 0; i < count; i++) {
    const auto vlan = (uint16_t)records[i].vlan_id;
    if (remove_deleted_vlan(vlan) && removed_count < TESK_VLAN_LIST_MAX) {
      removed[removed_count++] = vlan;
    }
  }
  if (removed_count != 0) {
    if (tesk_send_unset_feat_in_vlan(removed, removed_count) == 0) {
      TESK_CTRL("tesk_send_unset_feat_in_vlan succeeded.\n");
    } else {
      TESK_ERR("tesk_send_unset_feat_in_vlan failed for %d vlans.\n", removed_count);
    }
  }
  free(records);
}
