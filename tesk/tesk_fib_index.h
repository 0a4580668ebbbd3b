/* An index beside the MAC table: finding an address takes as long among 100,000 addresses as among twenty.
 *
 * The 32 chains are the table. For each entry the index holds only the link that points at the entry. The
 * index is created with the ninth address and grows with the table. It is deleted when a purge leaves eight
 * addresses or fewer. It holds 256 addresses without allocating memory. When memory for more is short, the
 * index is deleted and look-ups walk the chains; the next new address tries to allocate again.
 *
 * The index is a hash table with at least two slots for each address. Each address has a number, and the
 * addresses that share a slot form a list linked by these numbers. Finding a known address takes at most 1.3
 * compares on average and 6 in the worst case. This holds for every pattern of addresses that the tests try:
 * consecutive, in steps, random, of one vendor, of many vendors, all in one chain. More than 256 addresses
 * take 20 to 40 bytes each, 16 to 32 on the target.
 *
 * A station can invent addresses that share a slot of the index, just as it can for a chain. The only effect
 * is that finding them takes a walk. */
#pragma once

#include "tesk/tesk_fib.h"

typedef tesk_fib_entry_t **tesk_fib_link_t;

/** All three arrays share one block. */
typedef struct {
  tesk_fib_link_t *links; /**< by number, from 1: the link that points at the entry */
  uint32_t *next;         /**< by number: the next number in the same slot; 0 ends the list */
  uint32_t *slots;        /**< the first number in each slot; 0 in an empty one */
  uint32_t room;          /**< number of addresses that fit; 0 without an index */
  uint32_t slot_shift;    /**< a hash shifted right by this is the number of a slot */
} tesk_fib_index_t;

extern tesk_fib_index_t fib_index;

/** Deletes the index and resets the count of addresses. */
void tesk_fib_index_clear();

/** Rebuilds the index after entries have left the chains. */
void tesk_fib_index_rebuild();

/** @return a 32-bit hash; its upper bits select the slot of an address */
uint32_t tesk_fib_index_hash(const uint8_t *mac_addr);

/**
 * Looks up an address in the index; call it only while there is an index.
 * @return the link that points at the entry, null when there is none
 */
tesk_fib_link_t tesk_fib_index_find(const uint8_t *mac_addr);

/** Inserts a new entry at the head of its chain and into the index. */
void tesk_fib_index_link(tesk_fib_link_t head, tesk_fib_entry_t *entry);
