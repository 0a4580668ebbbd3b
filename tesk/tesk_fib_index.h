/* An index beside the MAC table, so that finding an address takes as long among 100,000 as among twenty.
 *
 * The table is its 32 chains; the index only knows where in them an entry hangs: the link that points at it.
 * It is made with the ninth address, grows with the table, and goes when a purge leaves eight or fewer. It
 * has room for 256 addresses without asking for memory. When memory for more is short there is none: the
 * chains are walked, and the next new address asks again.
 *
 * It is a hash table with two slots or more for each address. Addresses have numbers, and those that share a
 * slot are strung together by their numbers. Finding a known address takes up to 1.3 compares on
 * average and 6 in the worst case, for every pattern of addresses that the tests try: consecutive ones, ones
 * in steps, random ones, ones of one vendor or of many, ones that all share a chain. More than 256 addresses
 * take 20 to 40 bytes each, 16 to 32 on the target.
 *
 * A station can invent addresses that share a slot here, as it can invent ones that share a chain; finding
 * them then costs a walk, and nothing else happens. */
#pragma once

#include "tesk/tesk_fib.h"

typedef tesk_fib_entry_t **tesk_fib_link_t;

/** All three arrays share one block. */
typedef struct {
  tesk_fib_link_t *links; /**< by number, from 1 on: the link that points at the entry */
  uint32_t *next;         /**< by number: the next number in the same slot; 0 ends the string */
  uint32_t *slots;        /**< the first number in each slot; 0 in an empty one */
  uint32_t room;          /**< addresses that it can take; 0 without an index */
  uint32_t slot_shift;    /**< what a hash is shifted right by to be the number of a slot */
} tesk_fib_index_t;

extern tesk_fib_index_t fib_index;

/** Forgets everything. */
void tesk_fib_index_clear();

/** Makes the index anew after entries have left the chains. */
void tesk_fib_index_rebuild();

/** @return 32 bits of which the upper ones choose the slot of an address */
uint32_t tesk_fib_index_hash(const uint8_t *mac_addr);

/**
 * Looks an address up where there is an index.
 * @return the link that points at the entry, null when there is none
 */
tesk_fib_link_t tesk_fib_index_find(const uint8_t *mac_addr);

/** Puts a new entry at the head of its chain, and into the index. */
void tesk_fib_index_link(tesk_fib_link_t head, tesk_fib_entry_t *entry);
