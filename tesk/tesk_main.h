/* Start-up, supervision and the one loop of the process.
 *
 * `main` reads the board's identity and starts the parts in a fixed order: message queue, shell command
 * tree, startup store, supervisor, running store, command back end, trace facility, kernel module, ports,
 * VLANs, MAC table. The steps before the trace facility trace, too: the platform keeps or prints those
 * events. A fatal failure ends the process; there is no orderly shutdown. */
#pragma once

#include "tesk/tesk_common.h"

/** Does the handshake with the supervisor and starts the heartbeat timer. @return false without a timer */
boolean tesk_init_overseer();

/** Callback of the heartbeat timer: sends one heartbeat in the life of the process. */
void tesk_cb_heartbeat_tmr(void *user_data);

/** Starts the command back end and the running-config service.
 * @return true; exits with the back end's status if that fails */
boolean tesk_init_cli();

/** Starts kernel module, interface manager, ports, VLANs and MAC table; exits with status 1 on a failure. */
void tesk_init();

/** Serves the queue and the relay's sockets for the life of the process. */
[[noreturn]] void tesk_processing_loop();
