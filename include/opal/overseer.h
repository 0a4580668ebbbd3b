/* overseer: the process supervisor, as a supervised program sees it.
 *
 * The supervisor starts the program, waits for its handshake and heartbeats, sends it the locations of
 * its configuration stores, and asks it to save them. Its messages arrive on the program's queue;
 * overseer_dispatch recognises them. */
#pragma once

#include "opal/qbus.h"
#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Announces the program and fetches its settings from the supervisor, with a timeout.
 * @param uuid service identity of the program
 * @return 0, or a result code
 */
int overseer_handshake(qbus_queue_t queue, uint32_t uuid);

/** @return non-zero when the conditional-service handshake has been made for this program */
int overseer_conditional_srv_was_handshake_done(void);

/**
 * Asks whether a start condition of a conditional service is violated.
 * @param condition, instance 0 and 0: all conditions of this program
 * @return 0 when all hold, non-zero otherwise
 */
int overseer_condition_verified(uint32_t condition, uint32_t instance);

/** @return the time in milliseconds within which the supervisor expects a heartbeat */
uint32_t overseer_heartbeat_timeout_get(void);

/**
 * Sends one heartbeat.
 * @param first 1 for the one that ends start-up, 0 for the later ones
 * @return 0, or a result code
 */
int overseer_heartbeat(int first);

/**
 * Reports how the start of this conditional service went.
 * @param status 0 for started
 * @return 0, or a result code
 */
int overseer_notify_conditional_srv_start_status(int status);

/**
 * Passes a received message to the supervisor's library.
 * @return 1: handled, and released by the library; 0: handled, the caller drops it; -1: not a message
 *         of the supervisor
 */
int overseer_dispatch(qbus_msg_ref_t *message);

/** @return base URI of the running stores, owned by the library; null when the supervisor has sent none.
 *          This and the next two functions may be called before the handshake */
const char *overseer_running_cfg_uri_get(void);

/** @return base URI of the startup stores, owned by the library; null when there are none or the
 *          supervisor has sent none */
const char *overseer_startup_cfg_uri_get(void);

/** @return prefix of every store file of this program, owned by the library; "" when there is none */
const char *overseer_file_prefix_get(void);

/**
 * Builds the URI of a store.
 * @param base_uri from one of the getters, or from a write request; null yields ""
 * @param file_prefix from overseer_file_prefix_get
 * @param name last component
 * @return the URI, owned by the library and valid until the next call
 */
const char *overseer_uri_complete(const char *base_uri, const char *file_prefix, const char *name);

/**
 * Reports to the supervisor that a configuration write has ended.
 * @param request the request as overseercb_cfg_write received it
 * @param status 0 for success, otherwise a result code
 * @return 0, or a result code
 */
int overseer_cfg_action_done(qbus_msg_ref_t *request, rcode_t status);

/**
 * Provided by the program, not by the platform: saves the running configuration. The supervisor's
 * library finds it by name among the executable's dynamic symbols and calls it from overseer_dispatch.
 * @param request to pass to overseer_cfg_action_done
 * @param bin_base_uri base URI of the store to write
 * @param debug_base_uri base URI of the debug stores
 * @return 0, or a result code
 */
int overseercb_cfg_write(qbus_msg_ref_t *request, const char *bin_base_uri, const char *debug_base_uri);

#ifdef __cplusplus
}
#endif
