/* The VLANs that the daemon carries: SoL (serial over LAN) and CIN (chassis internal network).
 *
 * A table of 32 chains holds one entry for each VLAN. The entry contains the member ports (LTL), the ports
 * that forward (CBL), and the token of the unanswered request to the port-index service. A VLAN is active in
 * the switch while it has member ports. Activation requests an LTL from the port-index service and makes the
 * in-band driver send the VLAN's frames to the CPU. Deactivation reverses both.
 *
 * A CIN VLAN is added from the running store at start-up, or by the operator's command. It is removed by
 * command, or when the VLAN manager reports it deleted. Handlers stop at the first failure and undo nothing;
 * only the count is checked. The daemon reports to the VLAN manager in which VLANs it is a feature.
 *
 *   tesk_vlan_table.cpp finding a VLAN in the table
 *   tesk_vlan.cpp       changes of the table, activation
 *   tesk_vlan_init.cpp  start-up
 *   tesk_vlan_cin.cpp   adding and removing CIN VLANs
 *   tesk_vlan_msg.cpp   answers from the port-index service, messages to the VLAN manager
 *   tesk_vlan_walk.cpp  walks over the table: list of CIN VLANs, CBL of one port, dirty entries */
#pragma once

#include "opal/bitset.h"
#include "opal/rcode.h"
#include "opal/vlan_mgr.h"
#include "tesk/tesk_common.h"
#include "tesk/tesk_port.h"

static_assert(sizeof(vlan_delete_notif_local_t) == 10);

/** Result of the getters for an absent VLAN. */
constexpr uint32_t TESK_LTL_ABSENT = 0xFFFFFFFF;

/** No request outstanding. */
constexpr uint32_t TESK_RR_TOKEN_NONE = 0xFFFFFFFF;

/** One SoL or CIN VLAN. */
typedef struct vlan_hash_entry {
  uint16_t vlan;
  uint32_t ltl;      /**< member ports, bit n for ASIC port n */
  uint32_t cbl;      /**< ports that forward the VLAN */
  uint32_t rr_token; /**< of the last request to the port-index service */
  boolean is_dirty;  /**< waits to be pushed to the kernel module */
  struct vlan_hash_entry *next;
} vlan_hash_entry_t;

extern vlan_hash_entry_t *vlan_bucket[TESK_BUCKETS];

/** Number of completely configured CIN VLANs; the SoL VLAN is not counted. */
extern int16_t cin_vlan_count;

/** Builds the table from the running store. @return false when the SoL VLAN cannot be inserted */
boolean tesk_init_vlan();

/* ---- the table ---- */

/** Inserts a VLAN and pushes it to the kernel module. @return false when present or out of memory */
boolean tesk_vlan_hash_insert(uint16_t vlan);

/** @return the link that points at the entry, null when there is none */
vlan_hash_entry_t **tesk_vlan_hash_find_(uint16_t vlan);

/** @return the ports that receive the VLAN's flooded frames; 0xFFFFFFFF for an absent VLAN */
uint32_t tesk_vlan_hash_get_cbl_ltl(uint16_t vlan);

/** @return the member ports; 0xFFFFFFFF for an absent VLAN */
uint32_t tesk_vlan_hash_get_ltl(uint16_t vlan);

/** The setters return false for an absent VLAN; all but the token mark the entry dirty. */
boolean tesk_vlan_hash_set_cbl(uint16_t vlan, uint32_t cbl);
boolean tesk_vlan_hash_set_ltl(uint16_t vlan, uint32_t ltl);
boolean tesk_vlan_hash_set_req_ref(uint16_t vlan, uint32_t rr_token);

/** Removes the VLAN from the kernel module and from the table. @return false if absent */
boolean tesk_vlan_hash_delete(uint16_t vlan);

/** Activate and deactivate a VLAN in the switch. @return 0, or the failing call's code */
int tesk_vlan_activate(uint16_t vlan);
int tesk_vlan_deactivate(uint16_t vlan);

/* ---- configuration ---- */

/** Configures a VLAN as CIN. @return true also when it already is */
boolean tesk_cli_vlan_add_handler(vlan_id_t vlan);

/** Removes a VLAN's configuration as CIN. Only the low 16 bits of the number count: 65546 is VLAN 10.
 * @return false when it is not configured, or at the first failing step */
boolean tesk_cli_vlan_del_handler(vlan_id_t vlan);

/** Removes VLANs that the VLAN manager has deleted; only the low 16 bits of their numbers count. */
void tesk_vlan_vlan_mgr_deleted_handler(qbus_msg_ref_t *msg);

/** Start and stop accepting a VLAN from the management device. */
void tesk_vlan_amm_accept(uint16_t vlan);
void tesk_vlan_amm_refuse(uint16_t vlan);

/* ---- walks ---- */

/**
 * Lists the CIN VLANs in table order.
 * @param vlan_count receives the number of VLANs, at most 32
 * @param vlan_list receives heap memory that the caller frees, null for none
 * @return 0, or 1 when memory is short
 */
rcode_t tesk_vlan_get_vlan_list(uint32_t *vlan_count, vlan_id_t **vlan_list);

/** Updates the CBL of every VLAN with a port's forwarding state. @return 0 */
rcode_t tesk_vlan_cbl_change_one_port(tesk_port_t *port, const vlan_bitset_t *cbl_bmp);

/**
 * Collects the entries that wait to be pushed.
 * @param list room for 15 entries; no more are written
 * @param vlan_cnt receives the number of dirty entries, more than 15 if there are
 * @return 0, or 5 for a null argument
 */
rcode_t tesk_vlan_get_dirty_list(vlan_hash_entry_t **list, uint16_t *vlan_cnt);

/* ---- messages ---- */

void tesk_vlan_ltlsvc_alloc_ltl_resp(qbus_msg_ref_t *msg);
void tesk_vlan_ltlsvc_dealloc_ltl_resp(qbus_msg_ref_t *msg);

/** Closes the request that an answer belongs to. The content of the answer is ignored. */
void tesk_vlan_process_ltlsvc_ltl_resp(qbus_msg_ref_t *msg, boolean alloc_resp);

/** Handle the VLAN manager's answers to the two messages below; there is nothing to do. */
void tesk_vlan_feat_create(qbus_msg_ref_t *msg);
void tesk_vlan_feat_delete(qbus_msg_ref_t *msg);

/** Report to the VLAN manager that the daemon is, or no longer is, a feature of VLANs. @return 0 or errno */
int tesk_send_set_feat_in_vlan(const vlan_id_t *vlans, uint32_t no_vlans);
int tesk_send_unset_feat_in_vlan(const vlan_id_t *vlans, uint32_t no_vlans);
