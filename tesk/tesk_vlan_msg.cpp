#include <stdlib.h>
#include <string.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_qbus.h"
#include "tesk/tesk_vlan.h"

namespace {

typedef int (*build_function_t)(uint32_t count, const vlan_id_t *vlans, uint32_t feature, void **payload,
                                uint32_t *length);

/** The differences between setting and unsetting a feature. */
typedef struct feature_message {
  build_function_t build;
  uint32_t opcode;
  const char *word;
} feature_message_t;

constexpr feature_message_t set_message = {vlan_feat_create_build_qbus_local, QBUS_OPC_VLAN_FEAT_CREATE,
                                           "set"};
constexpr feature_message_t unset_message = {vlan_feat_delete_build_qbus_local, QBUS_OPC_VLAN_FEAT_DELETE,
                                             "unset"};

int send_feature(const feature_message_t *message, const vlan_id_t *vlans, uint32_t no_vlans,
                 tesk_place_t place = tesk_here()) {
  void *payload = nullptr;
  uint32_t length = 0;
  int result = message->build(no_vlans, vlans, VLAN_FEAT_CIN, &payload, &length);
  if (payload == nullptr) {
    TESK_CTRL_AT(place, "Null qbus pld from vlan manager\n");
    return result;
  }
  if (result != 0 || length == 0) {
    TESK_CTRL_AT(place, "Error building qbus to %s  feature for %d vlans. rc = %d [%s]\n", message->word,
                 no_vlans, result, strerror(result));
  } else {
    const qbus_addr_t manager = {.node = QBUS_NODE_VLAN_MGR, .sap = QBUS_SAP_VLAN_MGR};
    result = (int)tesk_qbus_send(message->opcode, payload, length, manager, nullptr);
    if (result != 0) {
      TESK_CTRL_AT(place, "Bad qbus send to vlan manager for %d vlans. rc = %d [%s]\n", no_vlans, result,
                   strerror(result));
    }
  }
  free(payload);
  return result;
}

vlan_hash_entry_t *find_by_token(uint32_t token) {
  for (vlan_hash_entry_t *entry : vlan_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      if (entry->rr_token == token) {
        return entry;
      }
    }
  }
  return nullptr;
}

}  // namespace

void tesk_vlan_ltlsvc_alloc_ltl_resp(qbus_msg_ref_t *msg) { tesk_vlan_process_ltlsvc_ltl_resp(msg, true); }

void tesk_vlan_ltlsvc_dealloc_ltl_resp(qbus_msg_ref_t *msg) { tesk_vlan_process_ltlsvc_ltl_resp(msg, false); }

void tesk_vlan_process_ltlsvc_ltl_resp(qbus_msg_ref_t *msg, boolean alloc_resp) {
  if (!qbus_is_response(msg)) {
    TESK_ERR("%s: Not a response, ignoring it\n", __func__);
    return;
  }
  const char *word = alloc_resp ? "Alloc" : "Dealloc";
  TESK_CTRL("%s: %s Response\n", __func__, word);
  const uint32_t token = qbus_rr_token_get(msg);
  vlan_hash_entry_t *entry = find_by_token(token);
  if (entry == nullptr) {
    TESK_ERR("%s: No token found for the response (0x%x)\n", __func__, token);
    return;
  }
  TESK_CTRL("%s:Received %s response for VLAN %d rr_token(0x%x)\n", __func__, word, entry->vlan, token);
  entry->rr_token = TESK_RR_TOKEN_NONE;
}

void tesk_vlan_feat_create(qbus_msg_ref_t *) {}

void tesk_vlan_feat_delete(qbus_msg_ref_t *) {}

int tesk_send_set_feat_in_vlan(const vlan_id_t *vlans, uint32_t no_vlans) {
  return send_feature(&set_message, vlans, no_vlans);
}

int tesk_send_unset_feat_in_vlan(const vlan_id_t *vlans, uint32_t no_vlans) {
  return send_feature(&unset_message, vlans, no_vlans);
}
