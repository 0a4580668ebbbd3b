/* The daemon's message queue: bound once, twelve opcodes registered, one message taken for each readiness.
 *
 * A message is offered to the supervisor's library, then to the trace facility, and what neither takes is
 * looked up in a table of {opcode, options, handler}; serving one more message is adding a row. After each
 * message that is not the supervisor's, records marked dirty are pushed to the kernel module. Handlers do
 * not drop their message and trust no length that a payload states about itself.
 *
 *   tesk_qbus.cpp       binding, receiving, dispatching
 *   tesk_qbus_send.cpp  the queue itself, and sending: below all handlers, which the table refers to */
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

/** Takes and serves one message. */
void tesk_qbus_msg_process();

/** Hands a message to the handler of its opcode. */
void tesk_qbus_msg_handler(qbus_queue_t queue, qbus_msg_ref_t *message);

/** The line card's ports can be used: the first notice, and each after a failure, starts the relay. */
void tesk_qbus_lc_online_msg(qbus_msg_ref_t *message);

/**
 * Sends one message as a request.
 * @param reply receives a reference that the caller drops, or null when the token is of no interest
 * @return 0, or the message service's errno
 */
rcode_t tesk_qbus_send(uint32_t opcode, const void *payload, uint32_t length, qbus_addr_t destination,
                       qbus_msg_ref_t *reply);
