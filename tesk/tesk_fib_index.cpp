#include "tesk/tesk_fib_index.h"

#include <stdlib.h>
#include <string.h>

tesk_fib_index_t fib_index;

namespace {

/* Walking chains of one, two and three entries takes at most two compares on average. */
constexpr uint32_t walked_entries = 3;

constexpr uint32_t slots_per_number = 2;
constexpr size_t bytes_per_number = sizeof(tesk_fib_link_t) + (1 + slots_per_number) * sizeof(uint32_t);

/* The first addresses need no memory but this. */
constexpr uint32_t first_room = 256;
constexpr uint32_t first_slot_shift = 32 - 9; /* 2 * 256 slots */
alignas(tesk_fib_link_t) uint8_t first_block[(first_room + 1) * bytes_per_number];

uint32_t address_count;
boolean is_wanted; /* a chain is too long to be walked */

uint32_t *slot_of(const uint8_t *mac_addr) {
  return &fib_index.slots[tesk_fib_index_hash(mac_addr) >> fib_index.slot_shift];
}

/* 0 for an unknown address. */
uint32_t number_of(const uint8_t *mac_addr) {
  uint32_t number = *slot_of(mac_addr);
  while (number != 0 && memcmp((*fib_index.links[number])->mac_address, mac_addr,
                               sizeof(tesk_fib_entry_t::mac_address)) != 0) {
    number = fib_index.next[number];
  }
  return number;
}

void enter(uint32_t number, tesk_fib_link_t link) {
  uint32_t *slot = slot_of((*link)->mac_address);
  fib_index.links[number] = link;
  fib_index.next[number] = *slot;
  *slot = number;
}

void enter_chains() {
  uint32_t number = 0;
  for (tesk_fib_entry_t *&head : fib_bucket) {
    for (tesk_fib_link_t link = &head; *link != nullptr; link = &(*link)->next) {
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
  enter_chains();
}

boolean is_long(const tesk_fib_entry_t *chain) {
  uint32_t entries = 0;
  for (; chain != nullptr && entries <= walked_entries; chain = chain->next) {
    entries++;
  }
  return entries > walked_entries;
}

void push(tesk_fib_link_t head, tesk_fib_entry_t *entry) {
  entry->next = *head;
  *head = entry;
}

/* The old head is looked up while the chain still leads to it: its link changes. */
void push_indexed(tesk_fib_link_t head, tesk_fib_entry_t *entry) {
  const uint32_t pushed_back = *head == nullptr ? 0 : number_of((*head)->mac_address);
  push(head, entry);
  fib_index.links[pushed_back] = &entry->next; /* nobody reads that of number 0 */
  enter(address_count, head);
}

}  // namespace

void tesk_fib_index_clear() {
  drop_index();
  address_count = 0;
  is_wanted = false;
}

void tesk_fib_index_rebuild() {
  tesk_fib_index_clear();
  for (const tesk_fib_entry_t *entry : fib_bucket) {
    is_wanted = is_wanted || is_long(entry);
    for (; entry != nullptr; entry = entry->next) {
      address_count++;
    }
  }
  if (is_wanted) {
    make_index();
  }
}

/* Addresses in a block follow each other, in steps or not, and differ in few bits, wherever these are. A
 * single multiplication is linear: it spreads most steps, but some into few slots. With the shift and the
 * second one it is not, and every pattern is spread as random addresses are. The bytes are put together by
 * value, so that processors of either byte order find the same. */
uint32_t tesk_fib_index_hash(const uint8_t *mac_addr) {
  const uint32_t high = (uint32_t)mac_addr[0] << 8 | (uint32_t)mac_addr[1];
  const uint32_t low = (uint32_t)mac_addr[2] << 24 | (uint32_t)mac_addr[3] << 16 |
                       (uint32_t)mac_addr[4] << 8 | (uint32_t)mac_addr[5];
  uint32_t hash = high * 0x85ebca6bU + low * 0x9e3779b1U;
  hash ^= hash >> 15;
  return hash * 0xc2b2ae35U;
}

boolean tesk_fib_index_find(const uint8_t *mac_addr, tesk_fib_link_t *link) {
  if (fib_index.room == 0) {
    return false;
  }
  const uint32_t number = number_of(mac_addr);
  *link = number == 0 ? nullptr : fib_index.links[number];
  return true;
}

void tesk_fib_index_link(tesk_fib_link_t head, tesk_fib_entry_t *entry) {
  address_count++;
  if (address_count <= fib_index.room) {
    push_indexed(head, entry);
    return;
  }
  push(head, entry);
  is_wanted = is_wanted || is_long(*head);
  if (is_wanted) {
    make_index();
  }
}
