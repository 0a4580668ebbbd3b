/* MAC learning: the port on which each source address was last seen.
 *
 * The table is a chained hash table. The key is the 6-byte address alone. The operations take a VLAN but
 * ignore it, so an address has one entry, whatever VLAN it was learnt in. An index beside the chains
 * (tesk_fib_index.h) keeps finding, learning and moving fast when there are many addresses.
 *
 * The table owns its entries. An entry points to its port's context and is deleted only with that context.
 * Addresses do not age out, and their number has no limit: a station that invents addresses makes the table
 * grow. */
#pragma once

#include "tesk/tesk_common.h"
#include "tesk/tesk_port.h"

typedef struct tesk_fib_entry {
  uint8_t mac_address[6];
  tesk_port_t *tesk_port;
  struct tesk_fib_entry *next;
} tesk_fib_entry_t;

extern tesk_fib_entry_t *fib_bucket[TESK_BUCKETS];

/** @return true */
boolean tesk_init_fib();

/** @return the bucket of an address */
uint8_t tesk_fib_hash_fn(const uint8_t *mac_addr);

/** @return the link that points at the entry, null when there is none */
tesk_fib_entry_t **tesk_fib_hash_find_(const uint8_t *mac_addr, uint16_t vlan);

/** @return the port on which the address was learnt, null when it is unknown */
tesk_port_t *tesk_fib_hash_lookup(const uint8_t *mac_addr, uint16_t vlan);

/** Learns an address, or moves a known address to this port. @return false when memory is short */
boolean tesk_fib_hash_insert(const uint8_t *mac_addr, tesk_port_t *tesk_port, uint16_t vlan);

/** Deletes every address learnt on a port. @return true */
boolean tesk_fib_purge_port_entries(const tesk_port_t *tesk_port);
