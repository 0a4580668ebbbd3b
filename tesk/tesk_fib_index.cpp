#include "tesk/tesk_fib_index.h"

#include <stdlib.h>
#include <string.h>

tesk_fib_entry_t *fib_bucket[TESK_BUCKETS];
tesk_fib_index_t fib_index;

namespace {

/* Up to this many addresses are found as fast without an index, even when they share a chain. */
constexpr uint32_t walked_addresses = 8;

constexpr uint32_t slots_per_number = 2;
constexpr size_t bytes_per_number = sizeof(tesk_fib_link_t) + (1 + slots_per_number) * sizeof(uint32_t);

/* Static memory for the first addresses, so that they need no allocation. */
constexpr uint32_t first_room = 256;
constexpr uint32_t first_slot_shift = 32 - 9; /* 2 * 256 slots */
alignas(tesk_fib_link_t) uint8_t first_block[(first_room + 1) * bytes_per_number];

/* An empty slot leads to this entry. Comparing with it costs less than a branch that the processor
 * mispredicts. */
tesk_fib_entry_t nobody;
tesk_fib_entry_t *link_to_nobody = &nobody;

uint32_t address_count;
uint32_t head_numbers[TESK_BUCKETS]; /* of chains that are not empty */

uint32_t *slot_of(const uint8_t *mac_addr) {
  return &fib_index.slots[tesk_fib_index_hash(mac_addr) >> fib_index.slot_shift];
}

void enter(uint32_t number, tesk_fib_link_t link) {
  uint32_t *slot = slot_of((*link)->mac_address);
  fib_index.links[number] = link;
  fib_index.next[number] = *slot;
  *slot = number;
}

void enter_chains() {
  uint32_t number = 0;
  for (uint32_t bucket = 0; bucket < TESK_BUCKETS; bucket++) {
    head_numbers[bucket] = number + 1;
    for (tesk_fib_link_t link = &fib_bucket[bucket]; *link != nullptr; link = &(*link)->next) {
      enter(++number, link);
    }
  }
}

void drop_index() {
  if ((uint8_t *)fib_index.links != first_block) {
    free((void *)fib_index.links);
  }
  fib_index = {};
}

/* @return a zeroed block, null when memory is short */
void *block_for(uint32_t numbers) {
  return numbers == first_room + 1 ? memset(first_block, 0, sizeof first_block)
                                   : calloc(numbers, bytes_per_number);
}

void make_index() {
  drop_index();
  if (address_count <= walked_addresses) {
    return;
  }
  uint32_t room = first_room;
  uint32_t slot_shift = first_slot_shift;
  while (room < address_count) {
    room *= 2;
    slot_shift--;
  }
  const uint32_t numbers = room + 1; /* with number 0 */
  auto *links = (tesk_fib_link_t *)block_for(numbers);
  if (links == nullptr) {
    return;
  }
  auto *next = (uint32_t *)(links + numbers);
  fib_index = {.links = links, .next = next, .slots = next + numbers, .room = room, .slot_shift = slot_shift};
  links[0] = &link_to_nobody;
  enter_chains();
}

}  // namespace

void tesk_fib_index_clear() {
  drop_index();
  address_count = 0;
}

void tesk_fib_index_rebuild() {
  tesk_fib_index_clear();
  for (const tesk_fib_entry_t *entry : fib_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      address_count++;
    }
  }
  make_index();
}

/* Addresses in a block are consecutive or in steps. They differ in few bits, anywhere in the address. One
 * multiplication is linear: it spreads most steps well, but some into few slots. The shift and the second
 * multiplication make the hash nonlinear, and it spreads every pattern like random addresses. The bytes are
 * combined by value, so that the hash is the same in either byte order. */
uint32_t tesk_fib_index_hash(const uint8_t *mac_addr) {
  const uint32_t high = (uint32_t)mac_addr[0] << 8 | (uint32_t)mac_addr[1];
  const uint32_t low = (uint32_t)mac_addr[2] << 24 | (uint32_t)mac_addr[3] << 16 |
                       (uint32_t)mac_addr[4] << 8 | (uint32_t)mac_addr[5];
  uint32_t hash = high * 0x85ebca6bU + low * 0x9e3779b1U;
  hash ^= hash >> 15;
  return hash * 0xc2b2ae35U;
}

tesk_fib_link_t tesk_fib_index_find(const uint8_t *mac_addr) {
  uint32_t number = *slot_of(mac_addr);
  do {
    const tesk_fib_link_t link = fib_index.links[number];
    if (memcmp((*link)->mac_address, mac_addr, sizeof(*link)->mac_address) == 0) {
      return number == 0 ? nullptr : link;
    }
    number = fib_index.next[number];
  } while (number != 0);
  return nullptr;
}

void tesk_fib_index_link(tesk_fib_link_t head, tesk_fib_entry_t *entry) {
  entry->next = *head;
  *head = entry;
  address_count++;
  if (address_count > fib_index.room) {
    make_index();
    return;
  }
  uint32_t *head_number = &head_numbers[head - fib_bucket];
  if (entry->next != nullptr) {
    fib_index.links[*head_number] = &entry->next;
  }
  *head_number = address_count;
  enter(address_count, head);
}
