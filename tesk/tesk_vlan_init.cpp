#include <stdlib.h>

#include "opal/kinb.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_vlan.h"

namespace {

/** VLANs to announce to the VLAN manager. */
typedef struct announcement {
  uint32_t count;
  vlan_id_t vlan[TESK_VLAN_LIST_MAX];
} announcement_t;

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
