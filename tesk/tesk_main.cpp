#include "tesk/tesk_main.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/select.h>

#include "opal/board.h"
#include "opal/capreg.h"
#include "opal/cush.h"
#include "opal/overseer.h"
#include "opal/portsvc.h"
#include "opal/rcgen.h"
#include "opal/timer.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_qbus.h"
#include "tesk/tesk_vlan.h"

namespace {

/* The program runs on two boards; on any other it exits silently. */
void identify_board() {
  card_module_info_t card;
  const int result = get_card_module_info(&card);
  if (result != 0) {
    printf("get_card_module_info error %i\n", result);
    exit(0);
  }
  if (card.swCardId != TESK_CARD_STANDARD && card.swCardId != TESK_CARD_VORLUND) {
    exit(0);
  }
  vorlund_platform = card.swCardId == TESK_CARD_VORLUND;
}

/* An fd_set cannot hold other descriptors. */
boolean is_watchable(int descriptor) { return descriptor >= 0 && descriptor < FD_SETSIZE; }

/* Every pass of the loop comes here, so trace this only once. */
void refuse_descriptor(int descriptor) {
  if (!tesk_descriptor_refused) {
    TESK_ERR("Descriptor %d is not served, only 0 to %d can be\n", descriptor, FD_SETSIZE - 1);
    tesk_descriptor_refused = true;
  }
}

void watch(int descriptor, fd_set *set, int *highest) {
  if (!is_watchable(descriptor)) {
    refuse_descriptor(descriptor);
    return;
  }
  FD_SET(descriptor, set);
  if (descriptor > *highest) {
    *highest = descriptor;
  }
}

boolean is_ready(int descriptor, const fd_set *set) {
  return is_watchable(descriptor) && FD_ISSET(descriptor, set);
}

void processing_pass(int queue) {
  fd_set ready;
  FD_ZERO(&ready);
  int highest = -1;
  watch(queue, &ready, &highest);
  const bool relaying = !tesk_l2switch_disable && tesk_l2_init_done;
  if (relaying) {
    watch(sock_mgmt, &ready, &highest);
    watch(sock_inband, &ready, &highest);
  }
  if (select(highest + 1, &ready, nullptr, nullptr, nullptr) < 0) {
    return;
  }
  if (is_ready(queue, &ready)) {
    tesk_qbus_msg_process();
  }
  if (relaying && is_ready(sock_inband, &ready)) {
    (void)tesk_rx_inband();
  }
  if (relaying && is_ready(sock_mgmt, &ready)) {
    (void)tesk_rx_mgmt();
  }
}

}  // namespace

boolean tesk_init_overseer() {
  const int status = overseer_handshake(tesk_qbus_q, TESK_UUID);
  TESK_CTRL("overseer_handshake uuid[%d] status[%d]\n", TESK_UUID, status);
  if (overseer_conditional_srv_was_handshake_done() == 0 && overseer_condition_verified(0, 0) != 0) {
    TESK_ERR("overseer_handshake cond status Err\n");
  }
  TESK_CTRL("Tesk Timer Init\n");
  (void)timer_module_init(10, 1000);
  const timer_handle_t timer =
      timer_new(overseer_heartbeat_timeout_get() / 1000, 1, tesk_cb_heartbeat_tmr, nullptr);
  if (timer == 0) {
    TESK_ERR(" Error timer_new() failed in tesk_init_overseer\n");
    return false;
  }
  (void)timer_start(timer);
  (void)overseer_heartbeat(1);
  const int notified = overseer_notify_conditional_srv_start_status(0);
  if (notified == 0) {
    TESK_CTRL("Srv_start_status() returned SUCCESS\n");
  } else {
    TESK_ERR("Srv_start_status() returned error code: %i\n", notified);
  }
  return true;
}

void tesk_cb_heartbeat_tmr(void *) {
  if (!tesk_overseer_hbt_sent) {
    (void)overseer_heartbeat(0);
    tesk_overseer_hbt_sent = true;
  }
}

boolean tesk_init_cli() {
  /* Not an error; traced as one so that it is printed. */
  TESK_ERR("Calling cmd_backend_init()");
  const int status = cmd_backend_init(tesk_qbus_q);
  if (status != 0) {
    TESK_ERR("Failed to init cmd_backend_init()");
    exit(status);
  }
  const rcgen_options_t options = {.tracekit_dbg_elem = 0};
  (void)rcgen_srv_init(tesk_qbus_q, &options);
  return true;
}

void tesk_init() {
  if (system("/opal/bin/instteskklm start") != 0) {
    TESK_ERR("Tesk KLM Initialization Failed\n");
  }
  if (tesk_krnl_adapter_init() != 0) {
    TESK_ERR("Kernel Adapter Init Failed\n");
    exit(1);
  }
  if (portsvc_ext_sbcr_init(0, 0, "Tesk") != 0) {
    TESK_ERR("portsvc_ext_sbcr_init Failed\n");
    exit(1);
  }
  if (!tesk_init_ports()) {
    TESK_ERR("%s:tesk_init_ports Failed\n", __func__);
    exit(1);
  }
  if (!tesk_init_vlan()) {
    TESK_ERR("%s:tesk_init_vlan Failed\n", __func__);
    exit(1);
  }
  if (!tesk_init_fib()) {
    TESK_ERR("%s:tesk_fib_init Failed\n", __func__);
    exit(1);
  }
}

void tesk_processing_loop() {
  const int queue = tesk_qbus_q;
  for (;;) {
    processing_pass(queue);
  }
}

int main(int, char **) {
  identify_board();
  if (!tesk_init_qbus()) {
    return 0;
  }
  if (cush_register_parse_tree(tesk_qbus_q, "tesk") != 0) {
    printf("Failed to register CLI");
    exit(0);
  }
  (void)tesk_open_startup_config_kvs();
  if (!tesk_init_overseer() || tesk_init_kvs() != 0) {
    return 0;
  }
  tesk_close_startup_config_kvs();
  if (!tesk_init_cli() || !tesk_init_tracekit()) {
    return 0;
  }
  tesk_init();
  if (capreg_notify_feature_status(tesk_qbus_q, "tesk", 1, 0) != 0) {
    printf("TESK could not notify feature_manager");
    (void)fflush(stdout);
  }
  tesk_processing_loop();
}
