/* The command line's back end.
 *
 * Debug and enable requests are configuration-interface messages. The daemon acknowledges them before it
 * examines them. Shell requests carry a command id: 1 shows counters, 2 shows the CIN (chassis internal
 * network) VLANs, 3 adds or removes CIN VLANs (the "no" form removes). Each shell request is answered once.
 * The running-config service asks for this program's lines: "cin" under each CIN VLAN.
 *
 * All requests come from outside. So the length of an attribute limits the ranges that are read from it, and
 * the work for one range is limited too.
 *
 *   tesk_cli_bkend.cpp  debug and enable requests, routing of shell requests
 *   tesk_cli_show.cpp   the show commands
 *   tesk_cli_cin.cpp    the CIN VLAN command
 *   tesk_cli_mrange.cpp the failed VLANs of a command, as ranges
 *   tesk_rcgen.cpp      running-config generation */
#pragma once

#include "opal/bitset.h"
#include "opal/cush.h"
#include "opal/ncfg.h"
#include "tesk/tesk_common.h"
#include "tesk/tesk_counters.h"

static_assert(sizeof(ncfg_payload_t) == NCFG_HEADER_BYTES);
static_assert(sizeof(qbus_msg_ref_t) == 20);

/** Body of a debug request. */
typedef struct tesk_cli_cfg {
  uint8_t dbg_type;
  uint8_t enable; /**< ignored: the kind of request decides */
} tesk_cli_cfg_t;
static_assert(sizeof(tesk_cli_cfg_t) == 2);

/** Values of dbg_type. */
enum { DBG_PKT = 0, DBG_CTRL = 1, DBG_ALL = 2 };

/** Bytes of a response with attributes. */
enum { TESK_CLI_RESPONSE_BYTES = 4096 };

/** Shell command ids. */
enum { TESK_CLI_SHOW_COUNTERS = 1, TESK_CLI_SHOW_CIN = 2, TESK_CLI_CIN_CFG = 3 };

/** Shell attributes. */
enum {
  TESK_ATTR_IF_RANGE = 0x0EC20003,
  TESK_ATTR_VLAN_LIST = 0x13030007,
  TESK_ATTR_IF_IDX = 0x14C20004,
  TESK_ATTR_TX_UCAST = 0x14C20006,
  TESK_ATTR_TX_MCAST = 0x14C20007,
  TESK_ATTR_RX_UCAST = 0x14C20008,
  TESK_ATTR_RX_MCAST = 0x14C20009,
  TESK_ATTR_CIN_VLAN = 0x14C2000B
};

/** Message handlers. */
void tesk_qbus_cfgdbg_msg(qbus_msg_ref_t *qbus_msg);
void tesk_qbus_cfgena_msg(qbus_msg_ref_t *qbus_msg);
void tesk_qbus_cush_tlv_msg(qbus_msg_ref_t *qbus_msg);
void tesk_rcgencb_cfg_gen(qbus_msg_ref_t *msg_ref_p);

/** Commands; each answers the request once. */
void tesk_cli_bkend_show_counters(cmd_rx_handle_t *h, qbus_msg_ref_t *qbus_msg);
void tesk_cli_bkend_show_cin(cmd_rx_handle_t *h, qbus_msg_ref_t *qbus_msg);
void tesk_cli_process_cin_cfg(cmd_rx_handle_t *cmd_hdl, qbus_msg_ref_t *qbus_msg);

/**
 * Converts VLANs 1 to 4094 of a set to ranges, at most 64. A run that reaches VLAN 4095 is not counted.
 * @return false for a null argument
 */
boolean tesk_build_vlan_mrange(const vlan_bitset_t *vlan_bmp_p, cush_int_multi_range_t *mrange_p);

/** Attaches the rejected VLANs to the answer. @return false for a null argument */
boolean tesk_set_failed_mrange(cmd_rx_handle_t *hndl, cush_int_multi_range_t *rej_mrange_p);
