/* Interface indexes: one 32-bit number for every port, port-channel and management port.
 *
 * Bits 31 to 24 hold the type, bits 23 to 16 the slot, bits 15 to 0 the port, channel or management
 * port number. Slots and ports count from 0; people count from 1, so slot 0 port 2 prints as
 * "ethernet 1/3". A port-channel has no slot and prints its channel number, "port-channel 7"; a
 * management port prints as "mgmt0". */
#pragma once

#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { IF_INDEX_TYPE_MGMT = 5, IF_INDEX_TYPE_PORT_CHANNEL = 22, IF_INDEX_TYPE_ETHERNET = 26 };

/** Inclusive range of ports of one type and slot. */
typedef struct if_index_range {
  if_index_t lower;
  if_index_t upper;
} if_index_range_t;

/** @return 0, or RCODE_INVALID for an index of unknown type; the output is then untouched */
rcode_t if_index_get_type(if_index_t if_index, if_index_type_t *type);

/** Port number of a physical Ethernet port, from 0. @return 0, or RCODE_INVALID for any other type */
rcode_t if_index_get_port(if_index_t if_index, uint32_t *port);

/** @return 0, or RCODE_INVALID for anything but a port-channel */
rcode_t if_index_port_channel_get_channel_num(if_index_t if_index, uint32_t *channel);

/** Makes the index of a physical Ethernet port. @param sub_port 0 @return 0, or RCODE_INVALID */
rcode_t if_index_phy_ethernet_init(if_index_t *if_index, uint32_t slot, uint32_t port, uint32_t sub_port);

/** Makes the index of a port-channel. @return 0, or RCODE_INVALID for a channel outside 1 to 4096 */
rcode_t if_index_port_channel_init(if_index_t *if_index, uint32_t channel);

/** Makes the index of a management port. @param slot 0 @return 0, or RCODE_INVALID */
rcode_t if_index_mgmt_sup_port_init(if_index_t *if_index, uint32_t slot, uint32_t port);

/** @return the number of interfaces in the range; 0 when its ends differ in type or slot, or descend */
uint32_t if_index_get_num_ports_in_if_index_range(const if_index_range_t *range);

/** @param position from 0 @return 0, or RCODE_INVALID past the end */
rcode_t if_index_get_if_index_in_range(const if_index_range_t *range, uint32_t position,
                                       if_index_t *if_index);

/** Prints an index as people write it. @return `buffer` */
const char *snprintf_if_index(char *buffer, size_t size, if_index_t if_index);

#ifdef __cplusplus
}
#endif
