/* Operations of the daemon itself that cannot fail in any state it reaches. The real ones run, and a test can
 * make one of them fail all the same, to see how its caller handles that. */
#include "tests/standin/real_unless_scripted.h"

#include "tesk/tesk_cli.h"
#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

using standin::real_unless_scripted;

// The linker's names, by a function's encoded name: the real function that the daemon names in its call, and
// the wrapper that the call reaches.
#define REAL(encoded) asm("__real_" encoded)
#define WRAP(encoded) asm("__wrap_" encoded)

decltype(tesk_init_fib) real_init_fib REAL("_Z13tesk_init_fibv");
decltype(tesk_init_fib) wrap_init_fib WRAP("_Z13tesk_init_fibv");
decltype(tesk_fib_purge_port_entries) real_purge REAL("_Z27tesk_fib_purge_port_entriesPK9tesk_port");
decltype(tesk_fib_purge_port_entries) wrap_purge WRAP("_Z27tesk_fib_purge_port_entriesPK9tesk_port");
decltype(tesk_vlan_hash_set_ltl) real_set_ltl REAL("_Z22tesk_vlan_hash_set_ltltj");
decltype(tesk_vlan_hash_set_ltl) wrap_set_ltl WRAP("_Z22tesk_vlan_hash_set_ltltj");
decltype(tesk_vlan_hash_set_cbl) real_set_cbl REAL("_Z22tesk_vlan_hash_set_cbltj");
decltype(tesk_vlan_hash_set_cbl) wrap_set_cbl WRAP("_Z22tesk_vlan_hash_set_cbltj");
decltype(tesk_vlan_hash_delete) real_vlan_delete REAL("_Z21tesk_vlan_hash_deletet");
decltype(tesk_vlan_hash_delete) wrap_vlan_delete WRAP("_Z21tesk_vlan_hash_deletet");
decltype(tesk_vlan_get_dirty_list) real_dirty_vlans REAL("_Z24tesk_vlan_get_dirty_listPP15vlan_hash_entryPt");
decltype(tesk_vlan_get_dirty_list) wrap_dirty_vlans WRAP("_Z24tesk_vlan_get_dirty_listPP15vlan_hash_entryPt");
decltype(tesk_port_get_dirty_list) real_dirty_ports REAL("_Z24tesk_port_get_dirty_listPP9tesk_portPt");
decltype(tesk_port_get_dirty_list) wrap_dirty_ports WRAP("_Z24tesk_port_get_dirty_listPP9tesk_portPt");
decltype(tesk_krnl_add_or_update_port) real_push_port REAL("_Z28tesk_krnl_add_or_update_portP9tesk_port");
decltype(tesk_krnl_add_or_update_port) wrap_push_port WRAP("_Z28tesk_krnl_add_or_update_portP9tesk_port");
decltype(tesk_ifindex_hash_delete) real_index_delete REAL("_Z24tesk_ifindex_hash_deletej");
decltype(tesk_ifindex_hash_delete) wrap_index_delete WRAP("_Z24tesk_ifindex_hash_deletej");
decltype(tesk_delete_port_context) real_port_delete REAL("_Z24tesk_delete_port_contextj");
decltype(tesk_delete_port_context) wrap_port_delete WRAP("_Z24tesk_delete_port_contextj");
decltype(tesk_port_vlan_delete) real_port_vlan_delete REAL("_Z21tesk_port_vlan_deletet");
decltype(tesk_port_vlan_delete) wrap_port_vlan_delete WRAP("_Z21tesk_port_vlan_deletet");
decltype(tesk_port_hsh_tbl_get_stat) real_get_stat
    REAL("_Z26tesk_port_hsh_tbl_get_statPjP16tesk_cli_sh_stat");
decltype(tesk_port_hsh_tbl_get_stat) wrap_get_stat
    WRAP("_Z26tesk_port_hsh_tbl_get_statPjP16tesk_cli_sh_stat");
decltype(tesk_build_vlan_mrange) real_build_mrange
    REAL("_Z22tesk_build_vlan_mrangePK11vlan_bitsetP20cush_int_multi_range");
decltype(tesk_build_vlan_mrange) wrap_build_mrange
    WRAP("_Z22tesk_build_vlan_mrangePK11vlan_bitsetP20cush_int_multi_range");
decltype(tesk_set_failed_mrange) real_set_mrange
    REAL("_Z22tesk_set_failed_mrangeP13cmd_rx_handleP20cush_int_multi_range");
decltype(tesk_set_failed_mrange) wrap_set_mrange
    WRAP("_Z22tesk_set_failed_mrangeP13cmd_rx_handleP20cush_int_multi_range");

boolean wrap_init_fib() { return real_unless_scripted("tesk_init_fib", real_init_fib); }

boolean wrap_purge(const tesk_port_t *port) {
  return real_unless_scripted("tesk_fib_purge_port_entries", real_purge, port);
}

boolean wrap_set_ltl(uint16_t vlan, uint32_t ltl) {
  return real_unless_scripted("tesk_vlan_hash_set_ltl", real_set_ltl, vlan, ltl);
}

boolean wrap_set_cbl(uint16_t vlan, uint32_t cbl) {
  return real_unless_scripted("tesk_vlan_hash_set_cbl", real_set_cbl, vlan, cbl);
}

boolean wrap_vlan_delete(uint16_t vlan) {
  return real_unless_scripted("tesk_vlan_hash_delete", real_vlan_delete, vlan);
}

rcode_t wrap_dirty_vlans(vlan_hash_entry_t **list, uint16_t *count) {
  return real_unless_scripted("tesk_vlan_get_dirty_list", real_dirty_vlans, list, count);
}

rcode_t wrap_dirty_ports(tesk_port_t **list, uint16_t *count) {
  return real_unless_scripted("tesk_port_get_dirty_list", real_dirty_ports, list, count);
}

rcode_t wrap_push_port(tesk_port_t *port) {
  return real_unless_scripted("tesk_krnl_add_or_update_port", real_push_port, port);
}

boolean wrap_index_delete(if_index_t index) {
  return real_unless_scripted("tesk_ifindex_hash_delete", real_index_delete, index);
}

rcode_t wrap_port_delete(if_index_t index) {
  return real_unless_scripted("tesk_delete_port_context", real_port_delete, index);
}

rcode_t wrap_port_vlan_delete(uint16_t vlan) {
  return real_unless_scripted("tesk_port_vlan_delete", real_port_vlan_delete, vlan);
}

void wrap_get_stat(uint32_t *count, tesk_cli_sh_stat_t *records) {
  real_unless_scripted("tesk_port_hsh_tbl_get_stat", real_get_stat, count, records);
}

boolean wrap_build_mrange(const vlan_bitset_t *vlans, cush_int_multi_range_t *ranges) {
  return real_unless_scripted("tesk_build_vlan_mrange", real_build_mrange, vlans, ranges);
}

boolean wrap_set_mrange(cmd_rx_handle_t *handle, cush_int_multi_range_t *ranges) {
  return real_unless_scripted("tesk_set_failed_mrange", real_set_mrange, handle, ranges);
}
