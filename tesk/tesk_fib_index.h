/* An index beside the MAC table, so that finding an address takes as long among 100,000 as among twenty.
 *
 * The table is its 32 chains; the index only knows where in them an entry hangs: for each address the link
 * that points at its entry. It is an open hash that is made when walking the chains would begin to cost,
 * grows with the table, is at most seven eighths full, and takes 9 to 18 bytes for each address (half of it
 * on the target). When memory for it is short there is none: the chains are walked, and the next new
 * address asks again.
 *
 * A station can invent addresses that collide here, as it can invent ones that share a chain; finding them
 * then costs a walk, and nothing else happens. */
#pragma once

#include "tesk/tesk_fib.h"

/** Forgets everything. */
void tesk_fib_index_clear();

/** Makes the index anew after entries have left the chains. */
void tesk_fib_index_rebuild();

/**
 * Looks an address up.
 * @param link receives the link that points at the entry, or null for an unknown address
 * @return false when there is no index: the chain has to be walked
 */
boolean tesk_fib_index_find(const uint8_t *mac_addr, tesk_fib_entry_t ***link);

/** Puts a new entry at the head of its chain, and into the index. */
void tesk_fib_index_link(tesk_fib_entry_t **head, tesk_fib_entry_t *entry);
