/* Start-up, supervision and the one loop of the process.
 *
 * `main` reads the board's identity and brings the parts up in a fixed order: message queue, shell
 * command tree, startup store, supervisor, running store, command back end, trace facility, kernel
 * module, ports, VLANs, MAC table. Steps before the trace facility trace all the same: the platform keeps
 * or prints those events. A fatal failure ends the process; there is no orderly shutdown. */
#pragma once

#include "tesk/tesk_common.h"

/** Handshake with the supervisor and its heartbeat timer. @return false when there is no timer */
boolean tesk_init_overseer();

/** Heartbeat timer's callback: sends one heartbeat in the life of the process. */
void tesk_cb_heartbeat_tmr(void *user_data);

/** Command back end and running-config service.
 * @return true; exits with the back end's status if that fails */
boolean tesk_init_cli();

/** Kernel module, interface manager, ports, VLANs and MAC table; exits with status 1 on a failure. */
void tesk_init();

/** Serves the queue and the relay's sockets for the life of the process. */
[[noreturn]] void tesk_processing_loop();
