/* Port contexts: one record for every downlink port or port-channel that may carry SoL or CIN traffic.
 *
 * A context is created by a port's first up report and deleted by its down report. It is found by
 * interface index, through a table of 32 chains that owns it, and by ASIC port number, through a map of 20
 * borrowed pointers that the relay uses; several slots may point at one port-channel. The management
 * module's side has one static context, amm_mgmt_port, in neither structure.
 *
 * An entry of the table can outlive its context: when a context cannot join the SoL VLAN at birth, or when
 * its entry cannot be found at its end, the context is freed and the entry stays, so that the index keeps
 * counting as taken. Its `param` is then null, and every walk copes.
 *
 * Rules: an ASIC port number of 20 or more is in no map, one of 32 or more has no bit in a port mask; a
 * port-channel counts 16 members at most. Notices come from other processes: every count is checked
 * against the bytes that arrived, and VLAN sets are taken as 512 bytes whatever their size word says.
 *
 *   tesk_ifindex.cpp     the interface-index table
 *   tesk_port_map.cpp    interface index to ASIC port, downlink test, the port map
 *   tesk_port.cpp        the contexts' life
 *   tesk_port_walk.cpp   walks over them
 *   tesk_port_event.cpp  port state notices
 *   tesk_port_cbl.cpp    CBL notices
 *   tesk_port_stat.cpp   counters for the shell */
#pragma once

#include "opal/bitset.h"
#include "opal/if_index.h"
#include "opal/portsvc.h"
#include "opal/rcode.h"
#include "tesk/tesk_common.h"
#include "tesk/tesk_counters.h"

enum {
  TESK_ASIC_PORTS = 20,    /**< ports of the ASIC, numbered from 0 */
  TESK_VORLUND_PORTS = 14, /**< front ports of the vorlund board */
  TESK_NO_ASIC_PORT = 255, /**< failed look-up of an ASIC port number */
  TESK_PC_MEMBERS_MAX = 16 /**< members of a port-channel that are kept */
};

/** One bit for each VLAN; `size` is always 512. */
typedef vlan_bitset_t tesk_vlan_bmp_t;
static_assert(sizeof(tesk_vlan_bmp_t) == 4 + 512);

typedef struct tesk_port_stats {
  uint32_t ucast;
  uint32_t mcast; /**< frames to a group address */
} tesk_port_stats_t;

/** A port context. */
typedef struct tesk_port {
  struct tesk_port *next; /**< unused: the table chains its own entries */
  if_index_t if_idx;
  if_index_type_t if_type;
  if_ordinal iod;
  mac_t learnt_addr;
  tesk_port_stats_t tx_stats;                  /**< frames sent to this port */
  tesk_port_stats_t rx_stats;                  /**< frames received from this port */
  boolean is_dirty;                            /**< waits to be pushed to the kernel module */
  tesk_vlan_bmp_t vlan_bmp;                    /**< SoL and CIN VLANs that are up on the port */
  tesk_vlan_bmp_t shadow_vlan_bmp;             /**< all VLANs last reported up, configured as CIN or not */
  uint8_t kestrix_port;                        /**< ASIC port number */
  vlan_bitset_t vlan_cbl_bmp;                  /**< VLANs in which the port forwards */
  uint8_t pc_member_count;                     /**< of a port-channel: entries in pc_member_list */
  uint8_t pc_member_list[TESK_PC_MEMBERS_MAX]; /**< of a port-channel: ASIC ports of its members */
} tesk_port_t;

/** One entry of the interface-index table. */
typedef struct ifindex_hash_entry {
  if_index_t if_index;
  void *param; /**< the tesk_port_t, or null when the context failed after it was entered */
  struct ifindex_hash_entry *next;
} ifindex_hash_entry_t;

extern ifindex_hash_entry_t *ifidx_bucket[TESK_BUCKETS];
extern tesk_port_t *kes_port_map[TESK_ASIC_PORTS];

/** The management side; its vlan_bmp holds the VLANs accepted from the management device. */
extern tesk_port_t amm_mgmt_port;

/** @return the port's bit in a port mask, 0 for a number of 32 or more */
static inline uint32_t tesk_port_bit(uint32_t kestrix_port) {
  return kestrix_port < 32 ? UINT32_C(1) << kestrix_port : 0;
}

static inline void tesk_port_add_vlan(tesk_port_t *port, uint16_t vlan) {
  bitset_set_bit(&port->vlan_bmp, vlan);
}

static inline void tesk_port_del_vlan(tesk_port_t *port, uint16_t vlan) {
  bitset_clear_bit(&port->vlan_bmp, vlan);
}

static inline boolean tesk_port_has_vlan(const tesk_port_t *port, uint16_t vlan) {
  return bitset_is_bit_set(&port->vlan_bmp, vlan) != 0;
}

static inline void tesk_port_shadow_add_vlan(tesk_port_t *port, uint16_t vlan) {
  bitset_set_bit(&port->shadow_vlan_bmp, vlan);
}

static inline void tesk_port_shadow_del_vlan(tesk_port_t *port, uint16_t vlan) {
  bitset_clear_bit(&port->shadow_vlan_bmp, vlan);
}

static inline boolean tesk_port_shadow_has_vlan(const tesk_port_t *port, uint16_t vlan) {
  return bitset_is_bit_set(&port->shadow_vlan_bmp, vlan) != 0;
}

/** @return true when the port forwards in the VLAN */
static inline boolean tesk_port_vlan_forwarding(const tesk_port_t *port, uint16_t vlan) {
  return bitset_is_bit_set(&port->vlan_cbl_bmp, vlan) != 0;
}

/* ---- the interface-index table ---- */

/** @return the bucket: channel or port number modulo the count, 0 for any other index */
uint32_t tesk_ifindex_hash_fn(if_index_t if_idx, uint32_t bkt_cnt);

void tesk_ifindex_hash_init();

/** Enters a context and pushes it to the kernel module.
 * @return false when the index is taken or memory is short; the kernel module's refusal is only traced */
boolean tesk_ifindex_hash_insert(if_index_t if_idx, void *param);

/** @return the link that points at the entry, null when there is none */
ifindex_hash_entry_t **tesk_ifindex_hash_find_(if_index_t if_idx);

/** @return the context, null when there is none */
tesk_port_t *tesk_ifindex_hash_find(if_index_t if_idx);

/** Takes the port out of the kernel module and the table; the context itself stays.
 * @return false if absent */
boolean tesk_ifindex_hash_delete(if_index_t if_idx);

/** Takes a context that is about to be freed away from the entry that has it; the entry stays. Finds it
 * without the interface-index library, which may refuse to tell the entry's bucket. */
void tesk_ifindex_hash_detach(const tesk_port_t *port);

/* ---- ASIC ports ---- */

/** @return the ASIC port of a port, or of a port-channel's first operational port; 255 on failure */
uint8_t tesk_ifindex_to_kes_port(if_index_t if_idx);

boolean tesk_port_is_downlink_kes(uint8_t kestrix_port);
boolean tesk_port_is_downlink_ifindex(if_index_t if_idx);

/** Points the map's slots of a context at it. @return false when a port-channel's members are unknown */
boolean tesk_setup_kes_to_port_map(tesk_port_t *port);

/** Clears the map's slots of a context. @return true */
boolean tesk_remove_kes_to_port_map(tesk_port_t *port);

/** @return the context on an ASIC port, null for none */
tesk_port_t *tesk_kes_port_to_port_context(uint8_t kestrix_port);

/* ---- contexts ---- */

/** @return false when the management port has no interface index */
boolean tesk_init_ports();

/** @return the new context, member of the SoL VLAN, owned by the table; null on failure */
tesk_port_t *tesk_create_port_context(if_index_t if_idx, if_ordinal iod);

/** Forgets a port: MAC entries, map, SoL membership, kernel module, table. @return 0, or 6 if absent */
rcode_t tesk_delete_port_context(if_index_t if_idx);

/** Takes a VLAN out of every context's vlan_bmp. @return 0 */
rcode_t tesk_port_vlan_delete(uint16_t vlan);

/**
 * Lists the ports whose shadow set holds a VLAN.
 * @param if_idx_lst_sz receives the number of indexes, at most 32
 * @param if_idx_lst receives heap memory that the caller frees, null for none
 * @return 0, or 1 when memory is short
 */
rcode_t tesk_port_vlan_shadowdb_get_port_list(uint16_t vlan, uint32_t *if_idx_lst_sz,
                                              if_index_t **if_idx_lst);

/**
 * Gathers the contexts that wait to be pushed.
 * @param list room for 21 contexts; no more are written
 * @param count receives the number of dirty contexts, more than 21 if there are
 * @return 0, or 5 for a null argument
 */
rcode_t tesk_port_get_dirty_list(tesk_port_t **list, uint16_t *count);

/* ---- notices ---- */

void tesk_handle_l2_protocol_state_changed_msg(qbus_msg_ref_t *msg);

/** Joins the port to the VLANs now up on it and withdraws it from those now down. */
void tesk_l2psc_vlan_state_change(tesk_port_t *port, const portsvc_l2_port_state_t *info);

/** Takes the reported VLANs into the shadow set. */
void tesk_port_upd_vlan_shadowdb(tesk_port_t *port, const portsvc_l2_port_state_t *info);

void tesk_ltlsvc_cbl_change(qbus_msg_ref_t *msg);

/** @return false when the port has no context */
boolean tesk_ltlsvc_cbl_change_one_port(if_index_t if_idx, const vlan_bitset_t *cbl_bmp);

/* ---- counters ---- */

/**
 * Fills the records of the management port and of every physical port that exists.
 * @param stat_rec_ct records already filled; raised, never above 21
 * @param stat_ptr room for 21 records
 */
void tesk_port_hsh_tbl_get_stat(uint32_t *stat_rec_ct, tesk_cli_sh_stat_t *stat_ptr);

/** Fills one record, with zeros when the kernel module does not know the port. @return false for null */
boolean tesk_port_hsh_tbl_get_stat_one_port(if_index_t if_index, tesk_cli_sh_stat_t *stat_ptr);
