#include <stdio.h>
#include <stdlib.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_qbus.h"
#include "tesk/tesk_syslog_def.h"

const char *const tesk_dbg_elem_desc[TESK_TRACE_ELEMENTS] = {
    "TESK Manager Packet Events", "TESK Manager Control Events", "TESK Manager Error Events"};

const tracekit_syslog_facility_t syslog_fac_LOG_TESK = {
    .fac_name = "tesk", .fac_num = LOG_TESK, .default_filter = 2, .priority_filter = 2};

namespace {

constexpr const char *service_name = "tesk";
constexpr const char *service_title = "Tesk and CIN Manager";
constexpr uint32_t history_bytes = 0x10000;
constexpr int syslog_console_and_at_once = 10;

void context_free(tracekit_context_t *context) {
  if (context != nullptr) {
    free(context->value);
  }
  free(context);
}

boolean facility_register(tracekit_context_t *debug, tracekit_context_t *syslog) {
  if (tracekit_dbg_init(tesk_qbus_q, service_name, service_title, TESK_TRACE_ELEMENTS, tesk_dbg_elem_desc, 1,
                        tesk_debug_kvs, debug) != 0) {
    (void)puts("tracekit_dbg_init failed");
    return false;
  }
  tracekit_sys_facility = &syslog_fac_LOG_TESK;
  if (tracekit_sys_init_helper(tesk_qbus_q, service_name, service_title, LOG_TESK, 1, tesk_debug_kvs,
                               syslog) != 0) {
    (void)fputs("tracekit_sys_init Failed", stdout);
    return false;
  }
  return true;
}

/* Once the facility has accepted both contexts, it owns them for the life of the process. */
boolean facility_start() {
  auto *debug = (tracekit_context_t *)calloc(1, sizeof(tracekit_context_t));
  auto *syslog = (tracekit_context_t *)calloc(1, sizeof(tracekit_context_t));
  if (debug != nullptr && syslog != nullptr) {
    debug->value = (uint32_t *)malloc(sizeof(uint32_t));
    syslog->value = (uint32_t *)malloc(sizeof(uint32_t));
    if (debug->value != nullptr && syslog->value != nullptr) {
      *debug->value = 0;
      *syslog->value = 1;
      debug->size = syslog->size = sizeof(uint32_t);
      if (facility_register(debug, syslog)) {
        return true;
      }
    }
  }
  context_free(debug);
  context_free(syslog);
  return false;
}

void self_test() {
  TESK_TRACE_BARE(TESK_TRACE_CTRL, "TRACEKIT CTRL_TR SUCCESS!!!");
  TESK_TRACE_BARE(TESK_TRACE_PKT, "TRACEKIT PKT_TR SUCCESS!!!");
  TESK_TRACE_BARE(TESK_TRACE_ERR, "TRACEKIT ERR_TR SUCCESS!!!");
}

}  // namespace

boolean tesk_init_tracekit() {
  if (!facility_start()) {
    return false;
  }
  (void)tracekit_hist_init(history_bytes);
  (void)tracekit_hist_init_for_uuid(TESK_TRACE_UUID, history_bytes);
  opal_openlog(syslog_fac_LOG_TESK.fac_name, syslog_console_and_at_once, syslog_fac_LOG_TESK.fac_num);
  tracekit_dbg_enable(TESK_TRACE_CTRL);
  tracekit_dbg_enable(TESK_TRACE_PKT);
  tracekit_dbg_enable(TESK_TRACE_ERR);
  self_test();
  tracekit_dbg_disable(TESK_TRACE_CTRL);
  tracekit_dbg_disable(TESK_TRACE_PKT);
  return true;
}
