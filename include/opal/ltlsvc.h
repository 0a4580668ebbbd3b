/* ltlsvc: the port-index service. It allocates the ASIC's port masks (LTLs), maps interface indexes to
 * destination indexes, and publishes which ports forward in which VLANs (CBL). */
#pragma once

#include "opal/bitset.h"
#include "opal/qbus.h"
#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Opcodes. An answer has its request's opcode. */
enum {
  QBUS_OPC_LTLSVC_ALLOC_LTL = 0x11003,
  QBUS_OPC_LTLSVC_DEALLOC_LTL = 0x11004,
  QBUS_OPC_LTLSVC_CBL_CHANGE = 0x1101A
};

/** Payload of a CBL notice, without padding: a 16-bit count in host byte order, then that many entries
 * of 520 bytes from offset 2 on: a 32-bit interface index and a 4096-bit VLAN set (bitset.h); a set bit
 * means that the port forwards in that VLAN. */
enum { LTLSVC_CBL_ENTRIES_OFFSET = 2, LTLSVC_CBL_ENTRY_BYTES = 520 };

/** One entry of a CBL notice, once copied to aligned storage. */
typedef struct ltlsvc_port_cbl {
  if_index_t if_idx;
  vlan_bitset_t vlan_cbl_bmp;
} ltlsvc_port_cbl_t;

/**
 * Maps an interface index to the ASIC's destination index.
 * @param di receives the destination index; its low 8 bits are the ASIC port number
 * @return 0, or a result code within the library's timeout
 */
rcode_t ltlsvc_lib_ifidx_to_di(if_index_t if_idx, uint32_t *di);

/**
 * Requests an LTL for a VLAN's redirected traffic. The answer arrives as QBUS_OPC_LTLSVC_ALLOC_LTL.
 * @param type of the request: 7, a VLAN's traffic redirection
 * @param argument1, argument2, argument3 reserved: 0
 * @param reference filled on success; the caller drops it
 * @return 0, or an error code
 */
int ltlsvc_send_ltl_alloc(qbus_queue_t queue, uint32_t type, vlan_id_t vlan, uint32_t argument1,
                          uint32_t argument2, uint32_t argument3, qbus_msg_ref_t *reference);

/**
 * Releases the LTL of a VLAN. The answer arrives as QBUS_OPC_LTLSVC_DEALLOC_LTL.
 * @param ltl reserved: 0, the service finds it by type and VLAN
 * @param argument1, argument2 reserved: 0
 */
int ltlsvc_send_ltl_dealloc(qbus_queue_t queue, ltl_t ltl, uint32_t type, vlan_id_t vlan, uint32_t argument1,
                            uint32_t argument2, qbus_msg_ref_t *reference);

#ifdef __cplusplus
}
#endif
