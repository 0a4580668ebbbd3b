/* portsvc: the interface manager. It publishes the link and VLAN state of ports. */
#pragma once

#include "opal/bitset.h"
#include "opal/qbus.h"
#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE = 0xF407 };

/** Published by the board manager when the line card's ports can be used. */
enum { QBUS_OPC_LC_ONLINE = 0x43C };

enum { PORTSVC_LINK_UP = 1, PORTSVC_LINK_DOWN = 2 };

/** State of one port. */
typedef struct portsvc_l2_port_state {
  if_index_t ifindex;
  if_ordinal iod;
  uint8_t link_state; /**< PORTSVC_LINK_* */
  uint8_t vlan_valid; /**< 1 when the VLAN fields are valid */
  uint8_t port_mode;  /**< 1 access, 2 trunk */
  uint8_t duplex_mode;
  mac_t macaddr;
  uint16_t mtu; /**< bytes */
  uint32_t state_reason;
  uint32_t speed; /**< Mbit/s */
  uint32_t num_active_ports;
  uint16_t native_vlan;
  uint16_t access_vlan;
  uint16_t primary_vlan;
  uint16_t dce_mode;
  vlan_bitset_t vlan_up_bmp;   /**< VLANs now up on the port */
  vlan_bitset_t vlan_down_bmp; /**< VLANs now down on the port */
} portsvc_l2_port_state_t;

/** Payload of a state notice: `num` records follow the count at offset 4. */
typedef struct portsvc_l2_state_change {
  uint32_t num;
  portsvc_l2_port_state_t port[];
} portsvc_l2_state_change_t;

typedef struct portsvc_if_info {
  if_ordinal iod;
  uint8_t link_state;
} portsvc_if_info_t;

/**
 * Registers the program with the interface manager.
 * @param instance, flags 0 and 0
 * @param name printable
 * @return 0, or a result code within the library's timeout
 */
int portsvc_ext_sbcr_init(uint32_t instance, uint32_t flags, const char *name);

/**
 * Copies the payload of a state notice.
 * @param size receives the bytes at `*payload`
 * @param payload receives heap memory that the caller frees with free(); null when the notice is empty
 * @return 0, or a result code
 */
rcode_t portsvc_parse_l2_protocol_state_change(const qbus_msg_ref_t *message, uint32_t *size,
                                               portsvc_l2_state_change_t **payload);

/** @param info filled when the answer is 1
 * @return 1 when the interface exists, 0 when not or when the manager does not answer */
int portsvc_is_ifindex_present(if_index_t if_index, portsvc_if_info_t *info);

#ifdef __cplusplus
}
#endif
