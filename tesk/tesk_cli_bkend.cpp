#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "opal/tracekit.h"
#include "tesk/tesk_cli.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_qbus.h"

namespace {

/* Every request is acknowledged before it is examined, so even a refused one looks accepted. */
void acknowledge(const qbus_msg_ref_t *request, tesk_place_t place = tesk_here()) {
  const ncfg_payload_t reply = {};
  if (qbus_reply(tesk_qbus_q, request, &reply, sizeof reply) != 0) {
    TESK_ERR_AT(place, "Failed to send QBUS message\n");
  }
}

/* @return true when header and body are complete; ignores the length that the request states */
boolean holds_body(const char *kind, uint32_t size, uint32_t body, tesk_place_t place = tesk_here()) {
  if (size >= NCFG_HEADER_BYTES + body) {
    return true;
  }
  TESK_ERR_AT(place, "%s: %s request cut short: %u bytes\n", place.function, kind, size);
  return false;
}

void debug_packets(int32_t kind, tesk_place_t place) {
  if (kind == NCFG_SET_REQ) {
    tesk_dbg_pkt = true;
    TESK_PKT_AT(place, "DBG_PKT Set[%d]\n", tesk_dbg_pkt);
  } else if (kind == NCFG_DELETE_REQ) {
    tesk_dbg_pkt = false;
    TESK_PKT_AT(place, "DBG_PKT ReSet[%d]\n", tesk_dbg_pkt);
  } else {
    TESK_ERR_AT(place, "Invalid TESK CLI DBG_PKT Req\n");
  }
  TESK_PKT_AT(place, "$$$$ PKT Flag ON!! $$$$\n");
}

void debug_control(int32_t kind, tesk_place_t place) {
  TESK_CTRL_AT(place, "DBG_CTRL Set\n");
  if (kind == NCFG_SET_REQ) {
    tesk_dbg_ctrl = true;
  } else if (kind == NCFG_DELETE_REQ) {
    tesk_dbg_ctrl = false;
  } else {
    TESK_ERR_AT(place, "Invalid TESK CLI DBG_CTRL Req\n");
  }
  TESK_CTRL_AT(place, "$$$$ CTRL Flag ON!! $$$$\n");
  TESK_TRACE_BARE(TESK_TRACE_PKT, "TRACEKIT Working!!!");
}

/* @return false when the request was abandoned */
boolean debug_request(const uint8_t *request, uint32_t size, tesk_place_t place = tesk_here()) {
  if (!holds_body("debug", size, 0, place)) {
    return false;
  }
  ncfg_payload_t header;
  memcpy(&header, request, sizeof header);
  if (header.data_size <= 1) {
    TESK_ERR_AT(place, "Invalid NCFG Msg\n");
    return false;
  }
  tesk_cli_cfg_t body;
  if (!holds_body("debug", size, sizeof body, place)) {
    return false;
  }
  memcpy(&body, request + NCFG_HEADER_BYTES, sizeof body);
  switch (body.dbg_type) {
    case DBG_PKT:
      debug_packets(header.msg_type, place);
      break;
    case DBG_CTRL:
      debug_control(header.msg_type, place);
      break;
    case DBG_ALL:
      TESK_CTRL_AT(place, "DBG_ALL Set\r\n");
      break;
    default:
      TESK_ERR_AT(place, "Invalid Debug CLI Config\r\n");
      break;
  }
  return true;
}

/* @return a heap copy of the payload, null when there is none */
uint8_t *payload_copy(const qbus_msg_ref_t *message, uint32_t size, tesk_place_t place = tesk_here()) {
  if (size == 0) {
    return nullptr;
  }
  auto *copy = (uint8_t *)malloc(size);
  if (copy == nullptr) {
    TESK_ERR_AT(place, "%s: no memory for a request of %u bytes\n", place.function, size);
    return nullptr;
  }
  memcpy(copy, qbus_payload_get(message), size);
  return copy;
}

void route_command(cmd_rx_handle_t *handle, qbus_msg_ref_t *message, uint32_t command,
                   tesk_place_t place = tesk_here()) {
  switch (command) {
    case TESK_CLI_SHOW_COUNTERS:
      tesk_cli_bkend_show_counters(handle, message);
      break;
    case TESK_CLI_SHOW_CIN:
      tesk_cli_bkend_show_cin(handle, message);
      break;
    case TESK_CLI_CIN_CFG:
      TESK_CTRL_AT(place, "CINVLAN CFG CMD\n");
      tesk_cli_process_cin_cfg(handle, message);
      break;
    default:
      break;
  }
}

}  // namespace

void tesk_qbus_cfgdbg_msg(qbus_msg_ref_t *qbus_msg) {
  TESK_CTRL("tesk_qbus_cfgdbg_msg Enter\n");
  const uint32_t size = qbus_payload_size_get(qbus_msg);
  uint8_t *request = payload_copy(qbus_msg, size);
  acknowledge(qbus_msg);
  const boolean served = (request != nullptr || size == 0) && debug_request(request, size);
  free(request);
  if (served) {
    TESK_CTRL("tesk_qbus_cfgdbg_msg Exit\n");
  }
}

void tesk_qbus_cfgena_msg(qbus_msg_ref_t *qbus_msg) {
  TESK_CTRL("tesk_qbus_cfgena Enter\n");
  acknowledge(qbus_msg);
  const uint32_t size = qbus_payload_size_get(qbus_msg);
  const auto *request = (const uint8_t *)qbus_payload_get(qbus_msg);
  if (!holds_body("enable", size, 0)) {
    return;
  }
  ncfg_payload_t header;
  memcpy(&header, request, sizeof header);
  uint32_t cli_data = 0;
  if ((header.msg_type == NCFG_SET_REQ || header.msg_type == NCFG_DELETE_REQ) &&
      header.data_size != sizeof cli_data) {
    TESK_ERR("Invalid NCFG Msg\n");
  }
  if (!holds_body("enable", size, sizeof cli_data)) {
    return;
  }
  memcpy(&cli_data, request + NCFG_HEADER_BYTES, sizeof cli_data);
  const uint32_t enabled = tesk_l2switch_disable ? 0 : 1;
  TESK_CTRL("cli_ena[%d], tesk_ena[%d]\n", cli_data, enabled);
  if (cli_data == enabled) {
    TESK_ERR("Config already Exists\n");
    return;
  }
  if (cli_data <= 1) {
    tesk_l2switch_disable = cli_data == 0;
  } else {
    (void)fputs("Invalid Value", stdout);
    (void)fflush(stdout);
  }
  TESK_CTRL("tesk_qbus_cfgena Exit[%d]\n", tesk_l2switch_disable);
}

void tesk_qbus_cush_tlv_msg(qbus_msg_ref_t *qbus_msg) {
  TESK_CTRL("CUSH CMD Rx\n");
  void *scratch = malloc(cmd_req_handle_get_1(qbus_msg));
  cmd_rx_handle_t *handle = scratch == nullptr ? nullptr : cmd_req_handle_get_2(qbus_msg, scratch);
  if (handle == nullptr) {
    TESK_ERR("Couldn't get cli_req_handle\n");
    (void)cmd_rsp_send_nok(nullptr, 0, "Can't get handle for cli request!!!");
  } else {
    const uint32_t command = cmd_req_cmdId_getnext(handle);
    TESK_CTRL("CMD ID[%d]\n", command);
    route_command(handle, qbus_msg, command);
  }
  free(scratch);
}
