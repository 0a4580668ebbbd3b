/* Port contexts: one record for each downlink port or port-channel that may carry traffic of the SoL (serial
 * over LAN) VLAN or of CIN (chassis internal network) VLANs.
 *
 * A port's first up notice creates its context; a down notice deletes it. The interface-index table, which
 * has 32 chains, owns the contexts and finds them by interface index. The port map finds them by the port
 * number of the ASIC (the switch chip): it has 20 pointers, which the relay uses. Several slots of the map
 * may point at one port-channel. The side of the management module (AMM) has one static context,
 * amm_mgmt_port. It is neither in the table nor in the map.
 *
 * A table entry can outlive its context in two cases: a new context cannot join the SoL VLAN, or the entry of
 * a context to delete cannot be found. The context is then freed, and the entry stays with a null `param`. So
 * the interface index still counts as taken. Every walk skips such an entry.
 *
 * Rules: an ASIC port number of 20 or more has no slot in the map. One of 32 or more has no bit in a port
 * mask. A port-channel has at most 16 members. Notices come from other processes: every count is checked
 * against the bytes that arrived, and a VLAN set has 512 bytes, whatever its size word says.
 *
 *   tesk_ifindex.cpp     the interface-index table
 *   tesk_port_map.cpp    interface index to ASIC port, downlink test, the port map
 *   tesk_port.cpp        creating and deleting contexts
 *   tesk_port_walk.cpp   walks over all contexts
 *   tesk_port_event.cpp  port state notices
 *   tesk_port_cbl.cpp    CBL notices: the VLANs in which each port forwards
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
  TESK_NO_ASIC_PORT = 255, /**< result of a failed look-up of an ASIC port */
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
  uint8_t pc_member_count;                     /**< port-channel: entries in pc_member_list */
  uint8_t pc_member_list[TESK_PC_MEMBERS_MAX]; /**< port-channel: ASIC ports of its members */
} tesk_port_t;

/** One entry of the interface-index table. */
typedef struct ifindex_hash_entry {
  if_index_t if_index;
  void *param; /**< the tesk_port_t, or null when the context failed after it was entered */
  struct ifindex_hash_entry *next;
} ifindex_hash_entry_t;

extern ifindex_hash_entry_t *ifidx_bucket[TESK_BUCKETS];
extern tesk_port_t *kes_port_map[TESK_ASIC_PORTS];

/** The management side. Its vlan_bmp holds the VLANs that are accepted from the management device. */
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

/** Removes the port from the kernel module and from the table; the context itself stays.
 * @return false if absent */
boolean tesk_ifindex_hash_delete(if_index_t if_idx);

/** Clears the pointer to a context that is about to be freed; the entry stays. Finds the entry without the
 * interface-index library, because the library may fail to return the bucket. */
void tesk_ifindex_hash_detach(const tesk_port_t *port);

/* ---- ASIC ports ---- */

/** @return the ASIC port of a port, or of a port-channel's first operational port; 255 on failure */
uint8_t tesk_ifindex_to_kes_port(if_index_t if_idx);

boolean tesk_port_is_downlink_kes(uint8_t kestrix_port);
boolean tesk_port_is_downlink_ifindex(if_index_t if_idx);

/** Sets the map's slots of a context. @return false when a port-channel's members are unknown */
boolean tesk_setup_kes_to_port_map(tesk_port_t *port);

/** Clears the map's slots of a context. @return true */
boolean tesk_remove_kes_to_port_map(tesk_port_t *port);

/** @return the context on an ASIC port, null for none */
tesk_port_t *tesk_kes_port_to_port_context(uint8_t kestrix_port);

/* ---- contexts ---- */

/** @return false when the management port has no interface index */
boolean tesk_init_ports();

/** @return the new context, a member of the SoL VLAN and owned by the table; null on failure */
tesk_port_t *tesk_create_port_context(if_index_t if_idx, if_ordinal iod);

/** Removes a port from MAC table, map, SoL VLAN, kernel module and table. @return 0, or 6 if absent */
rcode_t tesk_delete_port_context(if_index_t if_idx);

/** Removes a VLAN from the vlan_bmp of every context. @return 0 */
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
 * Collects the contexts that wait to be pushed.
 * @param list room for 21 contexts; no more are written
 * @param count receives the number of dirty contexts, more than 21 if there are
 * @return 0, or 5 for a null argument
 */
rcode_t tesk_port_get_dirty_list(tesk_port_t **list, uint16_t *count);

/* ---- notices ---- */

void tesk_handle_l2_protocol_state_changed_msg(qbus_msg_ref_t *msg);

/** Makes the port a member of the VLANs that are now up on it. Removes it from those that are now down. */
void tesk_l2psc_vlan_state_change(tesk_port_t *port, const portsvc_l2_port_state_t *info);

/** Updates the shadow set with the reported VLANs. */
void tesk_port_upd_vlan_shadowdb(tesk_port_t *port, const portsvc_l2_port_state_t *info);

void tesk_ltlsvc_cbl_change(qbus_msg_ref_t *msg);

/** @return false when the port has no context */
boolean tesk_ltlsvc_cbl_change_one_port(if_index_t if_idx, const vlan_bitset_t *cbl_bmp);

/* ---- counters ---- */

/**
 * Fills the records of the management port and of every physical port that exists.
 * @param stat_rec_ct number of records filled; the call adds the new ones, up to 21 in all
 * @param stat_ptr room for 21 records
 */
void tesk_port_hsh_tbl_get_stat(uint32_t *stat_rec_ct, tesk_cli_sh_stat_t *stat_ptr);

/** Fills one record, with zeros when the kernel module does not know the port. @return false for null */
boolean tesk_port_hsh_tbl_get_stat_one_port(if_index_t if_index, tesk_cli_sh_stat_t *stat_ptr);
