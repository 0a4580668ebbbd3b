/* MAC learning: on which port each source address was last seen.
 *
 * A chained hash keyed by the 6-byte address alone; the VLAN that the operations take is ignored, so an
 * address has one entry whatever VLAN it was learnt in. An index beside the chains (tesk_fib_index.h) keeps
 * finding, learning and moving as fast among many addresses as among few.
 *
 * Entries are owned by the table, borrow their port's context, and leave only when that context is deleted:
 * there is no ageing and no limit, so a station that invents addresses makes the table grow. */
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

/** Learns an address, or moves it. @return false when memory is short */
boolean tesk_fib_hash_insert(const uint8_t *mac_addr, tesk_port_t *tesk_port, uint16_t vlan);

/** Forgets every address learnt on a port. @return true */
boolean tesk_fib_purge_port_entries(const tesk_port_t *tesk_port);
