/* The kernel module's copy of the port and VLAN tables.
 *
 * A record is pushed at once when it enters or leaves its table. A record that changes is marked dirty,
 * once, and all dirty records are pushed together after each message that the program handles. The counts
 * of dirty records are kept beside the flags; a difference between the two is traced and mended by the
 * next successful push. The management port counts as dirty but is in no table, so it is never gathered.
 *
 * Limits are the module's: 21 ports, 15 VLANs, 15 VLANs of a port, the lowest first. A larger set is refused
 * whole. A failed push of ports counts as delivered; a failed push of VLANs keeps the count.
 *
 * Unless stated otherwise, operations return 0, or 5 on failure, and trace their entry.
 *
 *   tesk_krnl_adapter.cpp  the requests to the module
 *   tesk_krnl_dirty.cpp    marking records dirty, and the counts
 *   tesk_krnl_sync.cpp     gathering dirty records and pushing them */
#pragma once

#include "opal/rcode.h"
#include "tesk/kspace/teskk.h"
#include "tesk/tesk_common.h"
#include "tesk/tesk_counters.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

extern int teskkfd;
extern uint16_t dirty_port_count;
extern uint16_t dirty_vlan_count;

/** Opens the module's device for the life of the process. */
rcode_t tesk_krnl_adapter_init();

/** Mark a record to be pushed; an unknown VLAN is ignored. */
void tesk_krnl_vlan_info_dirty_(vlan_hash_entry_t *entry);
void tesk_krnl_vlan_info_dirty(uint16_t vlan);
void tesk_krnl_port_info_dirty(tesk_port_t *port);

rcode_t tesk_krnl_add_or_update_vlans(vlan_hash_entry_t **list, uint16_t count);
rcode_t tesk_krnl_add_or_update_vlan(vlan_hash_entry_t *entry);
rcode_t tesk_krnl_del_vlan(vlan_hash_entry_t *entry);

/** @return 0 also when the module refuses */
rcode_t tesk_krnl_add_or_update_ports(tesk_port_t **list, uint16_t count);
rcode_t tesk_krnl_add_or_update_port(tesk_port_t *port);
rcode_t tesk_krnl_del_port(tesk_port_t *port);

/** Push dirty ports, dirty VLANs; do_sync both, ports first, VLANs only if the ports went well. */
rcode_t tesk_krnl_sync_port();
rcode_t tesk_krnl_sync_vlan();
rcode_t tesk_krnl_do_sync();

/** Reads a port's counters; `stat` is untouched on failure. */
rcode_t tesk_krnl_get_port_counters(if_index_t if_idx, tesk_cli_sh_stat_t *stat);
