/* qbus: messages between the platform's services.
 *
 * A program binds one queue to its service access point (SAP) and registers the opcodes that it
 * serves. Messages keep their boundaries and their order per sender. A message is a request, a
 * response (same opcode and token as its request) or a notice. Nothing here blocks.
 *
 * The queue handle is a descriptor: `select` reports it readable, level-triggered, while a message
 * waits. It must not be read, written or closed. */
#pragma once

#include "opal/types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int qbus_queue_t;

/** Reference to a received message or to the request that a send made; opaque, copied freely,
 * released once with qbus_drop. */
typedef struct qbus_msg_ref {
  uint32_t word[5];
} qbus_msg_ref_t;

/** A destination: the node and the service access point on it. Node 0 is the local node. */
typedef struct qbus_addr {
  uint32_t node;
  uint32_t sap;
} qbus_addr_t;

typedef struct qbus_bind_options {
  uint32_t version;  /**< of this record: 1 */
  uint16_t flags;    /**< none defined: 0 */
  int qlen;          /**< messages that may wait; a sender beyond that gets an error */
  uint32_t uuid;     /**< service identity of the program */
  uint32_t node;     /**< node to bind on; 0 is the local node */
  uint32_t buff_sum; /**< buffers to reserve for large messages; advisory */
} qbus_bind_options_t;

/** Bits of the options word of an opcode. */
enum {
  QBUS_OPTION_RECEIVE = 0x01,  /**< deliver this opcode to the queue */
  QBUS_OPTION_SUBSCRIBE = 0x10 /**< also deliver notices with this opcode, whoever publishes them */
};

/**
 * Binds a queue.
 * @param version of the interface: 1
 * @param sap the service access point to own; one program at a time
 * @param name printable, for diagnostics
 * @return the queue, or -1 with `errno`: EADDRINUSE when the SAP is taken, ENOENT when there is no
 *         message service, EINVAL for a wrong version
 */
qbus_queue_t qbus_bind(uint32_t version, uint32_t sap, const qbus_bind_options_t *options, const char *name);

/**
 * Registers one opcode. Messages with an opcode that was never registered are still delivered when
 * they are addressed to this queue; a subscription needs this call.
 * @param options bits of QBUS_OPTION_*
 * @return 0, or -1 with `errno`
 */
int qbus_options_set(qbus_queue_t queue, uint32_t opcode, uint16_t options);

/**
 * Takes the next message. Never waits.
 * @param reference filled on success; the caller drops it
 * @param flags none defined: 0
 * @return 0, or -1 with `errno`: EAGAIN when nothing waits
 */
int qbus_recv(qbus_queue_t queue, qbus_msg_ref_t *reference, int flags);

/** Releases a received message (its payload pointer becomes invalid) or a send's reply reference.
 * @return 0, or -1 with EINVAL for a reference that is not held */
int qbus_drop(qbus_queue_t queue, qbus_msg_ref_t *reference);

/** @return the message's opcode, 0 for a reference that is not held */
uint32_t qbus_opc_get(const qbus_msg_ref_t *reference);

/** @return the payload, aligned to 8 bytes, owned by the message until it is dropped; null when the
 *          message carries none */
void *qbus_payload_get(const qbus_msg_ref_t *reference);

/** @return bytes of payload; 0 when there is none */
uint32_t qbus_payload_size_get(const qbus_msg_ref_t *reference);

/** @return 1 when the message answers a request, else 0 */
int qbus_is_response(const qbus_msg_ref_t *reference);

/** @return the token that pairs a request with its response; for a send's reply reference, the token
 *          of the request just sent */
uint32_t qbus_rr_token_get(const qbus_msg_ref_t *reference);

/**
 * Sends one message as a request.
 * @param destination by value
 * @param payload `length` bytes, copied; may be null when `length` is 0
 * @param reply filled on success with a reference that carries the request's token; the caller drops it
 * @param flags none defined: 0
 * @param timeout none: 0; a send never waits
 * @return 0, or non-zero; qbus_errno_get returns the reason
 */
int fu_qbus_send(qbus_queue_t queue, qbus_addr_t destination, uint32_t opcode, const void *payload,
                 uint32_t length, qbus_msg_ref_t *reply, uint32_t flags, uint32_t timeout);

/**
 * Answers a request: same opcode and token, to the sender of `request`.
 * @return 0, or non-zero; qbus_errno_get returns the reason
 */
int qbus_reply(qbus_queue_t queue, const qbus_msg_ref_t *request, const void *payload, uint32_t length);

/** @return the errno of the last failed send or reply: ECONNREFUSED for an absent peer, ENOBUFS for a
 *          full one, EMSGSIZE for a payload over the service's limit */
int qbus_errno_get(qbus_queue_t queue);

/** @return a static name of an opcode, "QBUS_OPC_UNKNOWN" when it has none */
const char *qbus_opc_name_get(uint32_t opcode);

#ifdef __cplusplus
}
#endif
