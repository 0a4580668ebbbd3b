/* The daemon's message queue. The daemon binds it once, registers twelve opcodes, and receives one message
 * each time the queue is ready.
 *
 * The supervisor's library gets each message first, then the trace facility. If neither takes the message, a
 * table of {opcode, options, handler} selects the handler. To serve one more opcode, add a row. After each
 * message that the supervisor's library does not take, the daemon pushes dirty records to the kernel module.
 * A handler does not drop its message. It trusts no length that the payload states about itself.
 *
 *   tesk_qbus.cpp       binding, receiving, dispatching
 *   tesk_qbus_send.cpp  the queue and sending; a file of its own, because the table refers to the handlers,
 *                       and the handlers send */
#pragma once

#include "opal/rcode.h"
#include "tesk/tesk_common.h"

enum { TESK_QBUS_OPCODES = 12 };

/** One row of the dispatch table. */
typedef struct tesk_qbus_msg_attribute {
  uint32_t opcode;
  uint32_t options; /**< the low 16 bits are registered */
  void (*handler)(qbus_msg_ref_t *message);
} tesk_qbus_msg_attribute_t;

extern const tesk_qbus_msg_attribute_t tesk_qbus_info_arr[TESK_QBUS_OPCODES];

/** The queue, also the descriptor that the loop waits on. */
extern qbus_queue_t tesk_qbus_q;

/** Binds the queue and registers the opcodes. Aborts without a queue. @return false at the first refusal */
boolean tesk_init_qbus();

/** Receives and handles one message. */
void tesk_qbus_msg_process();

/** Hands a message to the handler of its opcode. */
void tesk_qbus_msg_handler(qbus_queue_t queue, qbus_msg_ref_t *message);

/** The line card's ports can be used. Starts the relay unless an earlier notice has started it. */
void tesk_qbus_lc_online_msg(qbus_msg_ref_t *message);

/**
 * Sends one message as a request.
 * @param reply receives a reference that the caller drops, or null when the caller does not need it
 * @return 0, or the message service's errno
 */
rcode_t tesk_qbus_send(uint32_t opcode, const void *payload, uint32_t length, qbus_addr_t destination,
                       qbus_msg_ref_t *reply);
