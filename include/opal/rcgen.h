/* rcgen: the running-configuration generation service.
 *
 * When an operator asks for the running or startup configuration, the service asks each program for
 * its lines. A line belongs under the key line of a VLAN; the service renders "vlan 10" and the lines
 * of all programs indented under it. */
#pragma once

#include "opal/bitset.h"
#include "opal/qbus.h"
#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rcgen_hdl rcgen_hdl_t; /**< the answer to one request, owned by the library */

typedef struct rcgen_options {
  uint32_t tracekit_dbg_elem; /**< debug category of the library's own traces; 0 for none */
} rcgen_options_t;

/** Opcode of a request for a program's lines. */
enum { QBUS_OPC_TESK_CFG_GEN = 0x1DEF };

enum { RCGEN_CFG_RUNNING = 1, RCGEN_CFG_STARTUP = 2 };

/** Display type that also shows what is at its default, as "no" lines. */
enum { RCGEN_DISPLAY_ALL = 4 };

/** Registers the program with the service. @return 0, or a result code */
int rcgen_srv_init(qbus_queue_t queue, const rcgen_options_t *options);

/** Adds the VLANs that the request asks about to `vlans`, whose size word is set. @return 0, or a
 * result code for a request that is not well-formed; `vlans` is then untouched */
int rcgen_req_vlan_list_get(const qbus_msg_ref_t *request, vlan_bitset_t *vlans);

/** Starts the answer to a request. @return the handle, released by rcgen_respond; never null */
rcgen_hdl_t *rcgen_hdl_init(const qbus_msg_ref_t *request);

/** Declares an element of the answer: who answers, the element's number, and its kind. */
int rcgen_elem_add(rcgen_hdl_t *handle, uint32_t uuid, uint32_t element, uint32_t kind);

int rcgen_elem_property_set(rcgen_hdl_t *handle, uint32_t element, uint32_t property);

/** Declares that the element's lines come after those of another program's element. */
int rcgen_elem_dependency_add(rcgen_hdl_t *handle, uint32_t element, uint32_t uuid, uint32_t other_element);

/** @return RCGEN_CFG_RUNNING, RCGEN_CFG_STARTUP, or another value for one that this program does not have */
int rcgen_cfg_type_get(const qbus_msg_ref_t *request);

/** @return how the configuration is shown; RCGEN_DISPLAY_ALL shows defaults too */
int rcgen_cfg_display_type_get(const qbus_msg_ref_t *request);

/** @return base URI of the startup stores that the request names, owned by the request */
const char *rcgen_startup_cfg_uri_prefix_get(const qbus_msg_ref_t *request);

/**
 * Adds one line under a VLAN's key line.
 * @param element as declared
 * @param vlan the key
 * @param text the line with its line end, copied
 * @param indent levels under the key line
 */
int rcgen_elem_vlan_key_str_add_indent(rcgen_hdl_t *handle, uint32_t element, vlan_id_t vlan,
                                       const char *text, uint32_t indent);

/** Marks the answer as failed. @param text for the operator, copied */
int rcgen_set_response_status(rcgen_hdl_t *handle, rcode_t status, const char *text);

/** Sends the answer and releases the handle. @return 0, or a result code */
int rcgen_respond(rcgen_hdl_t *handle, qbus_queue_t queue, qbus_msg_ref_t *request);

#ifdef __cplusplus
}
#endif
