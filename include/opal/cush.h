/* cush: the operator's shell, as a program that serves its commands sees it.
 *
 * A command reaches the program as a message on its queue. The library turns it into a request handle:
 * a command id, whether it is the "no" form, and attributes, each an id with a value in host byte
 * order. The program answers every request once: ok, ok with attributes, or nok with a text. */
#pragma once

#include "opal/qbus.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct cmd_rx_handle cmd_rx_handle_t; /**< a received command */
typedef struct cmd_rsp cmd_rsp_t;             /**< a response with attributes, not yet sent */
typedef struct cmd_mrange cmd_mrange_t;       /**< a list of ranges, owned by the library */

/** Opcode of a command. */
enum { QBUS_OPC_TESK_CUSH_TLV = 0x1DFF };

enum { CUSH_RANGE_ENTRIES = 64 };

/** A list of integers as inclusive ranges. */
typedef struct cush_int_multi_range {
  uint32_t size; /**< reserved: 0 */
  uint32_t range_count;
  struct {
    uint32_t lower_int;
    uint32_t upper_int;
  } range[CUSH_RANGE_ENTRIES];
} cush_int_multi_range_t;

/** A list of interfaces as inclusive ranges; `range_count` entries are present. */
typedef struct cush_intf_range {
  uint32_t size; /**< bytes of the whole attribute */
  uint32_t range_count;
  uint32_t mask; /**< interface types that occur, one bit each; advisory */
  struct {
    if_index_t lower;
    if_index_t upper;
  } range[CUSH_RANGE_ENTRIES];
} cush_intf_range_t;

/**
 * Registers a named parse tree with the shell, which then sends the tree's commands to this queue.
 * @return 0, or a result code
 */
int cush_register_parse_tree(qbus_queue_t queue, const char *name);

/** Starts the command back end of this program. @return 0, or a result code */
int cmd_backend_init(qbus_queue_t queue);

/**
 * Starts to serve a request. Until its handle is made, cmd_rsp_send_nok without a handle refuses it.
 * @return bytes of scratch that the request's handle needs; never 0
 */
size_t cmd_req_handle_get_1(const qbus_msg_ref_t *message);

/**
 * Decodes a request.
 * @param scratch as many bytes as cmd_req_handle_get_1 returned, aligned for any type, owned by the
 *        caller; must outlive the handle
 * @return the handle, living in `scratch`; null when the message is not a well-formed command
 */
cmd_rx_handle_t *cmd_req_handle_get_2(const qbus_msg_ref_t *message, void *scratch);

/** @return the id of the command, 0 when there is none left */
uint32_t cmd_req_cmdId_getnext(cmd_rx_handle_t *handle);

/** @return 1 for the "no" form of the command, else 0 */
int cmd_req_action_is_del(cmd_rx_handle_t *handle);

/**
 * Fetches an attribute of the request.
 * @param value receives a pointer to `length` bytes, owned by the request, aligned to 8 bytes
 * @return 0, or non-zero when the request has no such attribute; the outputs are then untouched
 */
int cmd_req_attr_get(cmd_rx_handle_t *handle, uint32_t attribute, void **value, uint32_t *length);

/**
 * Starts a response with attributes.
 * @param buffer `size` bytes, owned by the caller; holds the response until it is sent
 * @return the response, null when the buffer is too small or the handle is null
 */
cmd_rsp_t *cmd_rsp_init(cmd_rx_handle_t *handle, void *buffer, uint32_t size);

/** Appends one attribute. @return 0, or non-zero when the buffer is full */
int cmd_rsp_attr_add(cmd_rsp_t *response, uint32_t attribute, const void *value, uint32_t length);

/** Sends the response as ok. @return 0, or non-zero */
int cmd_rsp_send(cmd_rsp_t *response);

/** Answers ok without attributes. @return 0, or non-zero */
int cmd_rsp_send_ok(cmd_rx_handle_t *handle);

/**
 * Answers that the command failed.
 * @param handle when null, answers (once) the message last passed to cmd_req_handle_get_1 or _2, if no
 *        handle was made for it
 * @param flags none defined: 0
 * @param format text for the operator, printf style
 * @return 0, or non-zero
 */
int cmd_rsp_send_nok(cmd_rx_handle_t *handle, uint32_t flags, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/** Makes an empty list of ranges for an attribute. The library owns it and releases it when the
 * request in progress is answered. @return null when out of memory */
cmd_mrange_t *cmd_mrange_create(uint32_t attribute);

/** @return 0, or non-zero when the list is null or full */
int cmd_mrange_range_add(cmd_mrange_t *mrange, uint32_t lower, uint32_t upper);

/** Attaches the rejected part of a command to the answer. @return 0, or non-zero */
int cmd_rsp_error_set(cmd_rx_handle_t *handle, cmd_mrange_t *mrange);

#ifdef __cplusplus
}
#endif
