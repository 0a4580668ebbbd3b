#include "opal/if_index.h"

#include <stdio.h>

namespace {

constexpr uint32_t channel_max = 4096;
constexpr uint32_t slot_max = 0xff;
constexpr uint32_t port_max = 0xffff;

uint32_t type_of(if_index_t if_index) { return if_index >> 24; }
uint32_t slot_of(if_index_t if_index) { return if_index >> 16 & slot_max; }
uint32_t port_of(if_index_t if_index) { return if_index & port_max; }

bool is_known(if_index_t if_index) {
  switch (type_of(if_index)) {
    case IF_INDEX_TYPE_MGMT:
    case IF_INDEX_TYPE_PORT_CHANNEL:
    case IF_INDEX_TYPE_ETHERNET:
      return true;
    default:
      return false;
  }
}

rcode_t make(if_index_t *if_index, uint32_t type, uint32_t slot, uint32_t port) {
  if (slot > slot_max || port > port_max) return RCODE_INVALID;
  *if_index = type << 24 | slot << 16 | port;
  return RCODE_SUCCESS;
}

}  // namespace

rcode_t if_index_get_type(if_index_t if_index, if_index_type_t *type) {
  if (!is_known(if_index)) return RCODE_INVALID;
  *type = static_cast<if_index_type_t>(type_of(if_index));
  return RCODE_SUCCESS;
}

rcode_t if_index_get_port(if_index_t if_index, uint32_t *port) {
  if (type_of(if_index) != IF_INDEX_TYPE_ETHERNET) return RCODE_INVALID;
  *port = port_of(if_index);
  return RCODE_SUCCESS;
}

rcode_t if_index_port_channel_get_channel_num(if_index_t if_index, uint32_t *channel) {
  if (type_of(if_index) != IF_INDEX_TYPE_PORT_CHANNEL) return RCODE_INVALID;
  *channel = port_of(if_index);
  return RCODE_SUCCESS;
}

rcode_t if_index_phy_ethernet_init(if_index_t *if_index, uint32_t slot, uint32_t port, uint32_t sub_port) {
  if (sub_port != 0) return RCODE_INVALID;
  return make(if_index, IF_INDEX_TYPE_ETHERNET, slot, port);
}

rcode_t if_index_port_channel_init(if_index_t *if_index, uint32_t channel) {
  if (channel < 1 || channel > channel_max) return RCODE_INVALID;
  return make(if_index, IF_INDEX_TYPE_PORT_CHANNEL, 0, channel);
}

rcode_t if_index_mgmt_sup_port_init(if_index_t *if_index, uint32_t slot, uint32_t port) {
  return make(if_index, IF_INDEX_TYPE_MGMT, slot, port);
}

uint32_t if_index_get_num_ports_in_if_index_range(const if_index_range_t *range) {
  const bool same_kind =
      type_of(range->lower) == type_of(range->upper) && slot_of(range->lower) == slot_of(range->upper);
  if (!is_known(range->lower) || !same_kind || range->upper < range->lower) return 0;
  return range->upper - range->lower + 1;
}

rcode_t if_index_get_if_index_in_range(const if_index_range_t *range, uint32_t position,
                                       if_index_t *if_index) {
  if (position >= if_index_get_num_ports_in_if_index_range(range)) return RCODE_INVALID;
  *if_index = range->lower + position;
  return RCODE_SUCCESS;
}

const char *snprintf_if_index(char *buffer, size_t size, if_index_t if_index) {
  switch (type_of(if_index)) {
    case IF_INDEX_TYPE_ETHERNET:
      snprintf(buffer, size, "ethernet %u/%u", static_cast<unsigned>(slot_of(if_index) + 1),
               static_cast<unsigned>(port_of(if_index) + 1));
      break;
    case IF_INDEX_TYPE_PORT_CHANNEL:
      snprintf(buffer, size, "port-channel %u", static_cast<unsigned>(port_of(if_index)));
      break;
    case IF_INDEX_TYPE_MGMT:
      snprintf(buffer, size, "mgmt%u", static_cast<unsigned>(port_of(if_index)));
      break;
    default:
      snprintf(buffer, size, "interface 0x%08x", static_cast<unsigned>(if_index));
      break;
  }
  return buffer;
}
