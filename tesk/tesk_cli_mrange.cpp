#include <string.h>

#include "tesk/tesk_cli.h"
#include "tesk/tesk_dbg.h"

boolean tesk_build_vlan_mrange(const vlan_bitset_t *vlan_bmp_p, cush_int_multi_range_t *mrange_p) {
  if (vlan_bmp_p == nullptr || mrange_p == nullptr) {
    TESK_ERR("Invalid argument: vlan_bmp_p = 0x%x, mrange_p = 0x%x\n", (uint32_t)(uintptr_t)vlan_bmp_p,
             (uint32_t)(uintptr_t)mrange_p);
    return false;
  }
  memset(mrange_p, 0, sizeof *mrange_p);
  boolean in_run = false;
  for (uint32_t bit = 1; bit <= TESK_VLAN_LAST && mrange_p->range_count < CUSH_RANGE_ENTRIES; bit++) {
    const boolean is_set = bitset_is_bit_set(vlan_bmp_p, bit) != 0;
    if (is_set && !in_run) {
      mrange_p->range[mrange_p->range_count].lower_int = bit;
    } else if (!is_set && in_run) {
      mrange_p->range[mrange_p->range_count++].upper_int = bit - 1;
    }
    in_run = is_set;
  }
  return true;
}

boolean tesk_set_failed_mrange(cmd_rx_handle_t *hndl, cush_int_multi_range_t *rej_mrange_p) {
  if (hndl == nullptr || rej_mrange_p == nullptr) {
    TESK_ERR("Invalid argument: hndl = 0x%x, rej_mrange_p = 0x%x\n", (uint32_t)(uintptr_t)hndl,
             (uint32_t)(uintptr_t)rej_mrange_p);
    return false;
  }
  cmd_mrange_t *mrange = cmd_mrange_create(TESK_ATTR_VLAN_LIST);
  for (uint32_t i = 0; i < rej_mrange_p->range_count && i < CUSH_RANGE_ENTRIES; i++) {
    (void)cmd_mrange_range_add(mrange, rej_mrange_p->range[i].lower_int, rej_mrange_p->range[i].upper_int);
  }
  (void)cmd_rsp_error_set(hndl, mrange);
  return true;
}
