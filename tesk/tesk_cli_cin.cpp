#include <stdlib.h>

#include "tesk/tesk_cli.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_vlan.h"

namespace {

enum { VLAN_TEXT_BYTES = 128, VDC = 1 };

/** One command in progress. */
typedef struct cin_command {
  boolean is_del;
  const vlan_feat_map_t *not_allowed; /**< features that exclude CIN on a VLAN */
  uint32_t cfg_succeeded;
  uint32_t cfg_failed;
  uint32_t no_vlans;
  vlan_id_t vlans_to_configure[TESK_VLAN_LIST_MAX];
  vlan_bitset_t failed;
} cin_command_t;

const char *all_failed_text(boolean is_del) {
  return is_del ? "Failed to delete CIN VLAN(s)\n" : "Failed to configure as CIN VLAN(s)\n";
}

/* @return the list; null if it is missing or cut short, after answering the request */
const cush_int_multi_range_t *vlan_list(cmd_rx_handle_t *handle, tesk_place_t place = tesk_here()) {
  void *value = nullptr;
  uint32_t length = 0;
  if (cmd_req_attr_get(handle, TESK_ATTR_VLAN_LIST, &value, &length) != 0 || value == nullptr) {
    (void)cmd_rsp_send_nok(handle, 0, "attribute missing: vlan list");
    TESK_ERR_AT(place, "failed to get vlan range in req");
    return nullptr;
  }
  const auto *list = (const cush_int_multi_range_t *)value;
  constexpr uint32_t header = offsetof(cush_int_multi_range_t, range);
  if (length < header || list->range_count > CUSH_RANGE_ENTRIES ||
      list->range_count > (length - header) / sizeof list->range[0]) {
    (void)cmd_rsp_send_nok(handle, 0, "Invalid VLAN list\n");
    TESK_ERR_AT(place, "%s: VLAN list of the CIN VLAN command cut short: %u bytes\n", place.function, length);
    return nullptr;
  }
  return list;
}

/* Checks a list of exactly one VLAN here; the handlers check each VLAN of a longer list. */
boolean is_one_invalid_vlan(const cush_int_multi_range_t *list) {
  if (list->range_count != 1 || list->range[0].lower_int != list->range[0].upper_int) {
    return false;
  }
  const uint32_t vlan = list->range[0].lower_int;
  return vlan - TESK_CIN_VLAN_FIRST > TESK_CIN_VLAN_LAST - TESK_CIN_VLAN_FIRST;
}

vlan_feat_map_t *feature_map_new() {
  auto *map = (vlan_feat_map_t *)calloc(1, sizeof(vlan_feat_map_t));
  if (map != nullptr) {
    map->size = sizeof map->bits;
  }
  return map;
}

boolean process_vlan(const cin_command_t *command, vlan_id_t vlan, tesk_place_t place) {
  if (command->is_del) {
    return tesk_cli_vlan_del_handler(vlan);
  }
  if (vlan_mgr_check_feat(VDC, vlan, command->not_allowed) == 0) {
    TESK_CTRL_AT(place, "Incompatible feature found for vlan = %d, hence skipping..\n", vlan);
    return false;
  }
  return tesk_cli_vlan_add_handler(vlan);
}

/* Numbers above the last VLAN count as one failure: they set no bit, and the loop does not visit them. If a
 * list repeats VLANs, only those that fit are announced. */
void process_range(cin_command_t *command, uint32_t lower, uint32_t upper, tesk_place_t place) {
  if (upper >= lower && upper > TESK_VLAN_LAST) {
    command->cfg_failed++;
    upper = TESK_VLAN_LAST;
  }
  for (uint32_t vlan = lower; vlan <= upper; vlan++) {
    if (!process_vlan(command, (vlan_id_t)vlan, place)) {
      bitset_set_bit(&command->failed, vlan);
      command->cfg_failed++;
      continue;
    }
    command->cfg_succeeded++;
    if (command->no_vlans < TESK_VLAN_LIST_MAX) {
      command->vlans_to_configure[command->no_vlans++] = (vlan_id_t)vlan;
    }
  }
}

void tell_vlan_manager(const cin_command_t *command, tesk_place_t place = tesk_here()) {
  if (command->is_del) {
    if (tesk_send_unset_feat_in_vlan(command->vlans_to_configure, command->no_vlans) == 0) {
      TESK_CTRL_AT(place, "tesk_send_unset_feat_in_vlan succeeded.\n");
    } else {
      TESK_ERR_AT(place, "tesk_send_unset_feat_in_vlan failed for %d vlans.\n", command->no_vlans);
    }
  } else if (tesk_send_set_feat_in_vlan(command->vlans_to_configure, command->no_vlans) == 0) {
    TESK_CTRL_AT(place, "tesk_send_set_feat_in_vlan succeeded.\n");
  } else {
    TESK_ERR_AT(place, "tesk_send_set_feat_in_vlan failed for %d vlans.\n", command->no_vlans);
  }
}

void answer_partial_failure(cmd_rx_handle_t *handle, const cin_command_t *command, tesk_place_t place) {
  cush_int_multi_range_t rejected = {};
  if (!tesk_build_vlan_mrange(&command->failed, &rejected)) {
    TESK_ERR_AT(place, "Failed to create the failed VLAN multi-range\n");
  }
  if (!tesk_set_failed_mrange(handle, &rejected)) {
    TESK_ERR_AT(place, "Failed to set VLAN multi-range\n");
  }
  char text[VLAN_TEXT_BYTES] = "";
  int done = 0;
  (void)bitset_snprintf(text, sizeof text, &command->failed, 1, &done);
  if (command->is_del) {
    (void)cmd_rsp_send_nok(handle, 0, "Failed to delete CIN VLAN(s) %s\n", text);
  } else {
    (void)cmd_rsp_send_nok(handle, 0, "Failed to configure VLAN(s) %s as CIN VLAN(s)\n", text);
  }
}

void answer(cmd_rx_handle_t *handle, const cin_command_t *command, tesk_place_t place = tesk_here()) {
  if (command->cfg_failed == 0) {
    (void)cmd_rsp_send_ok(handle);
  } else if (command->cfg_succeeded == 0) {
    (void)cmd_rsp_send_nok(handle, 0, "%s", all_failed_text(command->is_del));
  } else {
    answer_partial_failure(handle, command, place);
  }
}

/* @return false when memory is short */
boolean process_list(cin_command_t *command, const cush_int_multi_range_t *list,
                     tesk_place_t place = tesk_here()) {
  vlan_feat_map_t *bmp_not_allowed = feature_map_new();
  /* Never read: every board's command allocates both maps, and fails if memory for either is short. */
  vlan_feat_map_t *bmp_cin = feature_map_new();
  const boolean allocated = bmp_not_allowed != nullptr && bmp_cin != nullptr;
  if (allocated) {
    bitset_set_bit(bmp_not_allowed, VLAN_FEAT_PRIVATE);
    bitset_set_bit(bmp_not_allowed, VLAN_FEAT_STORAGE);
    bitset_set_bit(bmp_cin, VLAN_FEAT_CIN);
    command->not_allowed = bmp_not_allowed;
    for (uint32_t i = 0; i < list->range_count; i++) {
      process_range(command, list->range[i].lower_int, list->range[i].upper_int, place);
    }
    command->not_allowed = nullptr;
  }
  free(bmp_not_allowed);
  free(bmp_cin);
  return allocated;
}

}  // namespace

void tesk_cli_process_cin_cfg(cmd_rx_handle_t *cmd_hdl, qbus_msg_ref_t *) {
  cin_command_t command;
  command.is_del = cmd_req_action_is_del(cmd_hdl) != 0;
  const cush_int_multi_range_t *list = vlan_list(cmd_hdl);
  if (list == nullptr) {
    return;
  }
  TESK_CTRL("is_del[%u]\n", command.is_del);
  if (is_one_invalid_vlan(list)) {
    (void)cmd_rsp_send_nok(cmd_hdl, 0, "Invalid CIN VLAN %d", list->range[0].lower_int);
    return;
  }
  (void)cmd_mrange_create(TESK_ATTR_VLAN_LIST);
  command.failed.size = VLAN_BITSET_BYTES;
  bitset_clear(&command.failed);
  command.cfg_succeeded = command.cfg_failed = command.no_vlans = 0;
  if (!process_list(&command, list)) {
    TESK_ERR("%s: no memory for the feature maps\n", __func__);
    (void)cmd_rsp_send_nok(cmd_hdl, 0, "%s", all_failed_text(command.is_del));
    return;
  }
  if (command.cfg_succeeded != 0) {
    tell_vlan_manager(&command);
  }
  answer(cmd_hdl, &command);
}
