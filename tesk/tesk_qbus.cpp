#include "tesk/tesk_qbus.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "opal/cush.h"
#include "opal/ltlsvc.h"
#include "opal/ncfg.h"
#include "opal/overseer.h"
#include "opal/portsvc.h"
#include "opal/rcgen.h"
#include "opal/tracekit.h"
#include "opal/vlan_mgr.h"
#include "tesk/tesk_cli.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

namespace {

constexpr uint32_t request = QBUS_OPTION_RECEIVE;
constexpr uint32_t notice = QBUS_OPTION_RECEIVE | QBUS_OPTION_SUBSCRIBE;

constexpr qbus_bind_options_t bind_template = {
    .version = 1, .flags = 0, .qlen = 1024, .uuid = 0, .node = 0, .buff_sum = 15};

}  // namespace

const tesk_qbus_msg_attribute_t tesk_qbus_info_arr[TESK_QBUS_OPCODES] = {
    {QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, notice, tesk_handle_l2_protocol_state_changed_msg},
    {QBUS_OPC_LC_ONLINE, notice, tesk_qbus_lc_online_msg},
    {QBUS_OPC_TESK_CFGDBG, notice, tesk_qbus_cfgdbg_msg},
    {QBUS_OPC_TESK_CFGENA, request, tesk_qbus_cfgena_msg},
    {QBUS_OPC_TESK_CUSH_TLV, request, tesk_qbus_cush_tlv_msg},
    {QBUS_OPC_LTLSVC_ALLOC_LTL, request, tesk_vlan_ltlsvc_alloc_ltl_resp},
    {QBUS_OPC_LTLSVC_DEALLOC_LTL, request, tesk_vlan_ltlsvc_dealloc_ltl_resp},
    {QBUS_OPC_VLAN_MGR_VLANS_DELETED, notice, tesk_vlan_vlan_mgr_deleted_handler},
    {QBUS_OPC_TESK_CFG_GEN, request, tesk_rcgencb_cfg_gen},
    {QBUS_OPC_LTLSVC_CBL_CHANGE, notice, tesk_ltlsvc_cbl_change},
    {QBUS_OPC_VLAN_FEAT_CREATE, request, tesk_vlan_feat_create},
    {QBUS_OPC_VLAN_FEAT_DELETE, request, tesk_vlan_feat_delete},
};

boolean tesk_init_qbus() {
  qbus_bind_options_t options = bind_template;
  options.uuid = TESK_UUID;
  tesk_qbus_q = qbus_bind(1, QBUS_SAP_TESK, &options, "Tesk Manager QBUS queue");
  if (tesk_qbus_q == -1) {
    TESK_ERR("TESK QBUS Bind Fail%d", errno);
    abort();
  }
  TESK_CTRL(" TESK QBUS Bind Success[%d]\n", tesk_qbus_q);
  for (int row = 0; row < TESK_QBUS_OPCODES; row++) {
    const tesk_qbus_msg_attribute_t *entry = &tesk_qbus_info_arr[row];
    if (qbus_options_set(tesk_qbus_q, entry->opcode, (uint16_t)(entry->options & 0xFFFF)) == -1) {
      TESK_ERR("ERROR: Could not register %d %d, reason %s\n", row, entry->opcode, strerror(errno));
      return false;
    }
  }
  return true;
}

void tesk_qbus_msg_process() {
  qbus_msg_ref_t message;
  if (qbus_recv(tesk_qbus_q, &message, 0) != 0) {
    TESK_ERR("%s: qbus_recv() failed: errno(%d)", __func__, errno);
    return;
  }
  const int dispatched = overseer_dispatch(&message);
  if (dispatched == 1) {
    return;
  }
  if (dispatched == 0) {
    (void)qbus_drop(tesk_qbus_q, &message);
    return;
  }
  if (dispatched == -1 && tracekit_process_msg(tesk_qbus_q, &message) == 1) {
    tesk_qbus_msg_handler(tesk_qbus_q, &message);
  }
  (void)qbus_drop(tesk_qbus_q, &message);
  (void)tesk_krnl_do_sync();
}

void tesk_qbus_msg_handler(qbus_queue_t, qbus_msg_ref_t *message) {
  TESK_CTRL("tesk_qbus_msg_handler Enter\n");
  const uint32_t opcode = qbus_opc_get(message);
  for (int row = 0; row < TESK_QBUS_OPCODES; row++) {
    if (tesk_qbus_info_arr[row].opcode == opcode) {
      TESK_CTRL("opcode[%d] found index[%d]\n", opcode, row);
      tesk_qbus_info_arr[row].handler(message);
      TESK_CTRL("tesk_qbus_msg_handler Exit\n");
      return;
    }
  }
  TESK_ERR("opcode[%d] not found\n", opcode);
}

void tesk_qbus_lc_online_msg(qbus_msg_ref_t *) {
  TESK_CTRL("QBUS_OPC_LC_ONLINE\n");
  if (!tesk_l2_init_done) {
    (void)tesk_l2switch_init();
  }
}
