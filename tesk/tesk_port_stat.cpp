#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_port.h"

void tesk_port_hsh_tbl_get_stat(uint32_t *stat_rec_ct, tesk_cli_sh_stat_t *stat_ptr) {
  if (stat_rec_ct == nullptr || stat_ptr == nullptr) {
    TESK_ERR("NULL Ptr Reference\n");
    return;
  }
  if (*stat_rec_ct >= TESK_CLI_STATS_MAX) {
    return;
  }
  (void)tesk_port_hsh_tbl_get_stat_one_port(amm_mgmt_port.if_idx, &stat_ptr[(*stat_rec_ct)++]);
  const uint32_t ports = vorlund_platform ? TESK_VORLUND_PORTS : TESK_ASIC_PORTS;
  for (uint32_t port = 0; port < ports && *stat_rec_ct < TESK_CLI_STATS_MAX; port++) {
    if_index_t if_idx = 0;
    if (if_index_phy_ethernet_init(&if_idx, 0, port, 0) != 0) {
      TESK_ERR("if_index_phy_eth_port_init failed\n");
      continue;
    }
    portsvc_if_info_t info = {};
    const int present = portsvc_is_ifindex_present(if_idx, &info);
    if (present == 1) {
      (void)tesk_port_hsh_tbl_get_stat_one_port(if_idx, &stat_ptr[(*stat_rec_ct)++]);
    } else {
      TESK_CTRL("ifindex: %x does not exist:%x\n", if_idx, present);
    }
  }
}

boolean tesk_port_hsh_tbl_get_stat_one_port(if_index_t if_index, tesk_cli_sh_stat_t *stat_ptr) {
  if (stat_ptr == nullptr) {
    return false;
  }
  if (tesk_krnl_get_port_counters(if_index, stat_ptr) != TESK_RC_SUCCESS) {
    *stat_ptr = {};
    stat_ptr->if_idx = if_index;
  }
  return true;
}
