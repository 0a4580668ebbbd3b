/* The kernel module's copy of the port and VLAN tables.
 *
 * When a record enters or leaves its table, the daemon pushes this to the module at once. When a record
 * changes, the daemon marks it dirty. After each message that it handles, it pushes all dirty records
 * together. Counts of the dirty records are kept beside the flags. If a count and its flags differ, this is
 * traced, and the next successful push corrects it. The management port counts as dirty but is in no table,
 * so it is never collected.
 *
 * The module sets the limits: 21 ports, 15 VLANs, and 15 VLANs of a port, the lowest first. A larger set of
 * ports or VLANs is refused as a whole. A failed push of ports counts as delivered; a failed push of VLANs
 * keeps the count.
 *
 * Unless stated otherwise, an operation traces its entry and returns 0, or 5 on failure.
 *
 *   tesk_krnl_adapter.cpp  the requests to the module
 *   tesk_krnl_dirty.cpp    marking records dirty, and the counts
 *   tesk_krnl_sync.cpp     collecting dirty records and pushing them */
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

/** Push the dirty ports, the dirty VLANs, or both: ports first, and VLANs only if the ports succeeded. */
rcode_t tesk_krnl_sync_port();
rcode_t tesk_krnl_sync_vlan();
rcode_t tesk_krnl_do_sync();

/** Reads a port's counters; `stat` is untouched on failure. */
rcode_t tesk_krnl_get_port_counters(if_index_t if_idx, tesk_cli_sh_stat_t *stat);
