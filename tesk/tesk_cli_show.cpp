#include <stdlib.h>

#include "opal/if_index.h"
#include "tesk/tesk_cli.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_vlan.h"

namespace {

/** Records collected for one command. */
typedef struct stat_list {
  uint32_t count;
  tesk_cli_sh_stat_t record[TESK_CLI_STATS_MAX];
} stat_list_t;

cmd_rsp_t *response_start(cmd_rx_handle_t *handle, uint8_t *buffer) {
  cmd_rsp_t *response = cmd_rsp_init(handle, buffer, TESK_CLI_RESPONSE_BYTES);
  if (response == nullptr) {
    (void)cmd_rsp_send_nok(handle, 0, "Internal error: cmd_rsp_init failed \n");
  }
  return response;
}

/* @return true when the attribute holds the ranges that it counts */
boolean ranges_are_whole(const cush_intf_range_t *ranges, uint32_t length, tesk_place_t place = tesk_here()) {
  constexpr uint32_t header = offsetof(cush_intf_range_t, range);
  if (length >= header && ranges->range_count <= CUSH_RANGE_ENTRIES &&
      ranges->range_count <= (length - header) / sizeof ranges->range[0]) {
    return true;
  }
  TESK_ERR_AT(place, "%s: interface range of show counters cut short: %u bytes\n", place.function, length);
  return false;
}

/* Ends when the list is full, or at a position that the library refuses: it is past the end of the range. */
void gather_range(if_index_t lower, if_index_t upper, stat_list_t *stats) {
  const if_index_range_t range = {.lower = lower, .upper = upper};
  const uint32_t ports = if_index_get_num_ports_in_if_index_range(&range);
  for (uint32_t position = 0; position < ports && stats->count < TESK_CLI_STATS_MAX; position++) {
    if_index_t if_idx = 0;
    if (if_index_get_if_index_in_range(&range, position, &if_idx) != 0) {
      return;
    }
    if (tesk_port_hsh_tbl_get_stat_one_port(if_idx, &stats->record[stats->count])) {
      stats->count++;
    }
  }
}

void add_word(cmd_rsp_t *response, uint32_t attribute, uint32_t value) {
  (void)cmd_rsp_attr_add(response, attribute, &value, sizeof value);
}

void add_record(cmd_rsp_t *response, const tesk_cli_sh_stat_t *record) {
  /* The shell makes the name from the index, but every board's command also requests it from the platform. */
  char name[64];
  (void)snprintf_if_index(name, sizeof name, record->if_idx);
  add_word(response, TESK_ATTR_IF_IDX, record->if_idx);
  add_word(response, TESK_ATTR_TX_UCAST, record->tx_pkt_ucast);
  add_word(response, TESK_ATTR_TX_MCAST, record->tx_pkt_mcast);
  add_word(response, TESK_ATTR_RX_UCAST, record->rx_pkt_ucast);
  add_word(response, TESK_ATTR_RX_MCAST, record->rx_pkt_mcast);
}

/* Answers a request for counters with the collected records. */
void send_stats(cmd_rx_handle_t *handle, cmd_rsp_t *response, const stat_list_t *stats,
                boolean interface_asked, tesk_place_t place = tesk_here()) {
  if (stats->count == 0) {
    if (interface_asked) {
      TESK_CTRL_AT(place, "Specified interface inactive or does not exist\n");
    } else {
      TESK_CTRL_AT(place, "No active interfaces\n");
    }
    (void)cmd_rsp_send_ok(handle);
    return;
  }
  for (uint32_t i = 0; i < stats->count; i++) {
    add_record(response, &stats->record[i]);
  }
  (void)cmd_rsp_send(response);
}

}  // namespace

void tesk_cli_bkend_show_counters(cmd_rx_handle_t *h, qbus_msg_ref_t *) {
  TESK_CTRL("Enter\n");
  alignas(8) uint8_t buffer[TESK_CLI_RESPONSE_BYTES] = {};
  cmd_rsp_t *response = response_start(h, buffer);
  if (response == nullptr) {
    return;
  }
  stat_list_t stats = {};
  void *value = nullptr;
  uint32_t length = 0;
  const boolean asked =
      cmd_req_attr_get(h, TESK_ATTR_IF_RANGE, &value, &length) == 0 && value != nullptr && length != 0;
  if (asked) {
    const auto *ranges = (const cush_intf_range_t *)value;
    if (!ranges_are_whole(ranges, length)) {
      (void)cmd_rsp_send_nok(h, 0, "Invalid interface range\n");
      return;
    }
    TESK_CTRL(":If/If-Range: %d\n", ranges->range_count);
    for (uint32_t i = 0; i < ranges->range_count; i++) {
      gather_range(ranges->range[i].lower, ranges->range[i].upper, &stats);
    }
  } else {
    TESK_CTRL(":If:All\n");
    tesk_port_hsh_tbl_get_stat(&stats.count, stats.record);
  }
  send_stats(h, response, &stats, asked);
}

void tesk_cli_bkend_show_cin(cmd_rx_handle_t *h, qbus_msg_ref_t *) {
  TESK_CTRL("Enter\n");
  alignas(8) uint8_t buffer[TESK_CLI_RESPONSE_BYTES] = {};
  cmd_rsp_t *response = response_start(h, buffer);
  if (response == nullptr) {
    return;
  }
  uint32_t count = 0;
  vlan_id_t *list = nullptr;
  (void)tesk_vlan_get_vlan_list(&count, &list);
  for (uint32_t i = 0; i < count; i++) {
    add_word(response, TESK_ATTR_CIN_VLAN, (uint32_t)list[i]);
  }
  free(list);
  (void)cmd_rsp_send(response);
}
