/* Bit sets, interface indexes and result codes: the real operations run, and a test can make one of them
 * fail. */
#include "opal/bitset.h"
#include "opal/if_index.h"
#include "opal/rcode.h"
#include "tests/standin/real_unless_scripted.h"

using standin::real_unless_scripted;

extern "C" {
decltype(bitset_clear) __real_bitset_clear, __wrap_bitset_clear;
decltype(bitset_set_bit) __real_bitset_set_bit, __wrap_bitset_set_bit;
decltype(bitset_clear_bit) __real_bitset_clear_bit, __wrap_bitset_clear_bit;
decltype(bitset_is_bit_set) __real_bitset_is_bit_set, __wrap_bitset_is_bit_set;
decltype(bitset_first_bit) __real_bitset_first_bit, __wrap_bitset_first_bit;
decltype(bitset_next_bit) __real_bitset_next_bit, __wrap_bitset_next_bit;
decltype(bitset_is_range_free) __real_bitset_is_range_free, __wrap_bitset_is_range_free;
decltype(bitset_copy) __real_bitset_copy, __wrap_bitset_copy;
decltype(bitset_snprintf) __real_bitset_snprintf, __wrap_bitset_snprintf;
decltype(if_index_get_type) __real_if_index_get_type, __wrap_if_index_get_type;
decltype(if_index_get_port) __real_if_index_get_port, __wrap_if_index_get_port;
decltype(if_index_port_channel_get_channel_num) __real_if_index_port_channel_get_channel_num,
    __wrap_if_index_port_channel_get_channel_num;
decltype(if_index_phy_ethernet_init) __real_if_index_phy_ethernet_init, __wrap_if_index_phy_ethernet_init;
decltype(if_index_mgmt_sup_port_init) __real_if_index_mgmt_sup_port_init, __wrap_if_index_mgmt_sup_port_init;
decltype(if_index_get_num_ports_in_if_index_range) __real_if_index_get_num_ports_in_if_index_range,
    __wrap_if_index_get_num_ports_in_if_index_range;
decltype(if_index_get_if_index_in_range) __real_if_index_get_if_index_in_range,
    __wrap_if_index_get_if_index_in_range;
decltype(snprintf_if_index) __real_snprintf_if_index, __wrap_snprintf_if_index;
decltype(rcode2str) __real_rcode2str, __wrap_rcode2str;
}

void __wrap_bitset_clear(void *bitset) { real_unless_scripted("bitset_clear", __real_bitset_clear, bitset); }

void __wrap_bitset_set_bit(void *bitset, uint32_t bit) {
  real_unless_scripted("bitset_set_bit", __real_bitset_set_bit, bitset, bit);
}

void __wrap_bitset_clear_bit(void *bitset, uint32_t bit) {
  real_unless_scripted("bitset_clear_bit", __real_bitset_clear_bit, bitset, bit);
}

int __wrap_bitset_is_bit_set(const void *bitset, uint32_t bit) {
  return real_unless_scripted("bitset_is_bit_set", __real_bitset_is_bit_set, bitset, bit);
}

int32_t __wrap_bitset_first_bit(const void *bitset) {
  return real_unless_scripted("bitset_first_bit", __real_bitset_first_bit, bitset);
}

int32_t __wrap_bitset_next_bit(const void *bitset, int32_t bit) {
  return real_unless_scripted("bitset_next_bit", __real_bitset_next_bit, bitset, bit);
}

int __wrap_bitset_is_range_free(const void *bitset, uint32_t first, uint32_t last) {
  return real_unless_scripted("bitset_is_range_free", __real_bitset_is_range_free, bitset, first, last);
}

void __wrap_bitset_copy(void *destination, const void *source) {
  real_unless_scripted("bitset_copy", __real_bitset_copy, destination, source);
}

int __wrap_bitset_snprintf(char *buffer, size_t size, const void *bitset, int first, int *done) {
  buffer[0] = '\0';  // the text if the result is scripted
  return real_unless_scripted("bitset_snprintf", __real_bitset_snprintf, buffer, size, bitset, first, done);
}

rcode_t __wrap_if_index_get_type(if_index_t if_index, if_index_type_t *type) {
  return real_unless_scripted("if_index_get_type", __real_if_index_get_type, if_index, type);
}

rcode_t __wrap_if_index_get_port(if_index_t if_index, uint32_t *port) {
  return real_unless_scripted("if_index_get_port", __real_if_index_get_port, if_index, port);
}

rcode_t __wrap_if_index_port_channel_get_channel_num(if_index_t if_index, uint32_t *channel) {
  return real_unless_scripted("if_index_port_channel_get_channel_num",
                              __real_if_index_port_channel_get_channel_num, if_index, channel);
}

rcode_t __wrap_if_index_phy_ethernet_init(if_index_t *if_index, uint32_t slot, uint32_t port,
                                          uint32_t sub_port) {
  return real_unless_scripted("if_index_phy_ethernet_init", __real_if_index_phy_ethernet_init, if_index, slot,
                              port, sub_port);
}

rcode_t __wrap_if_index_mgmt_sup_port_init(if_index_t *if_index, uint32_t slot, uint32_t port) {
  return real_unless_scripted("if_index_mgmt_sup_port_init", __real_if_index_mgmt_sup_port_init, if_index,
                              slot, port);
}

uint32_t __wrap_if_index_get_num_ports_in_if_index_range(const if_index_range_t *range) {
  return real_unless_scripted("if_index_get_num_ports_in_if_index_range",
                              __real_if_index_get_num_ports_in_if_index_range, range);
}

rcode_t __wrap_if_index_get_if_index_in_range(const if_index_range_t *range, uint32_t position,
                                              if_index_t *if_index) {
  return real_unless_scripted("if_index_get_if_index_in_range", __real_if_index_get_if_index_in_range, range,
                              position, if_index);
}

const char *__wrap_snprintf_if_index(char *buffer, size_t size, if_index_t if_index) {
  return real_unless_scripted("snprintf_if_index", __real_snprintf_if_index, buffer, size, if_index);
}

const char *__wrap_rcode2str(rcode_t rcode) {
  return real_unless_scripted("rcode2str", __real_rcode2str, rcode);
}
