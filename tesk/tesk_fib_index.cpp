#include "tesk/tesk_fib_index.h"

#include <stdlib.h>
#include <string.h>

namespace {

/* Chains of up to eight entries are walked as fast as an index is asked. */
constexpr uint32_t addresses_worth_an_index = TESK_BUCKETS * 8;

tesk_fib_entry_t ***slots;
uint32_t slot_count; /* a power of two; 0 without an index */
uint32_t address_count;

/* Multiplication carries every bit of an address upwards, and the upper half is taken. */
uint32_t first_slot(const uint8_t *mac_addr) {
  uint64_t address = 0;
  memcpy(&address, mac_addr, sizeof(tesk_fib_entry_t::mac_address));
  return (uint32_t)(address * 0x9e3779b97f4a7c15U >> 32) & (slot_count - 1);
}

/* The slot of an address, or the free one where it belongs. */
tesk_fib_entry_t ***slot_of(const uint8_t *mac_addr) {
  uint32_t slot = first_slot(mac_addr);
  while (slots[slot] != nullptr &&
         memcmp((*slots[slot])->mac_address, mac_addr, sizeof(tesk_fib_entry_t::mac_address)) != 0) {
    slot = (slot + 1) & (slot_count - 1);
  }
  return &slots[slot];
}

void drop_slots() {
  free((void *)slots);
  slots = nullptr;
  slot_count = 0;
}

void fill_slots() {
  for (tesk_fib_entry_t *&head : fib_bucket) {
    for (tesk_fib_entry_t **link = &head; *link != nullptr; link = &(*link)->next) {
      *slot_of((*link)->mac_address) = link;
    }
  }
}

boolean is_full() { return address_count >= slot_count / 8 * 7; }

void make_slots() {
  drop_slots();
  if (address_count < addresses_worth_an_index) {
    return;
  }
  uint32_t wanted = addresses_worth_an_index;
  while (wanted / 8 * 7 <= address_count) {
    wanted *= 2;
  }
  slots = (tesk_fib_entry_t ***)calloc(wanted, sizeof *slots);
  if (slots != nullptr) {
    slot_count = wanted;
    fill_slots();
  }
}

/* The old head is looked up while the chain still leads to it: its link changes. */
void link_indexed(tesk_fib_entry_t **head, tesk_fib_entry_t *entry) {
  tesk_fib_entry_t ***pushed_back = *head == nullptr ? nullptr : slot_of((*head)->mac_address);
  entry->next = *head;
  *head = entry;
  if (pushed_back != nullptr) {
    *pushed_back = &entry->next;
  }
  *slot_of(entry->mac_address) = head;
}

}  // namespace

void tesk_fib_index_clear() {
  drop_slots();
  address_count = 0;
}

void tesk_fib_index_rebuild() {
  address_count = 0;
  for (const tesk_fib_entry_t *entry : fib_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      address_count++;
    }
  }
  make_slots();
}

boolean tesk_fib_index_find(const uint8_t *mac_addr, tesk_fib_entry_t ***link) {
  if (slots == nullptr) {
    return false;
  }
  *link = *slot_of(mac_addr);
  return true;
}

void tesk_fib_index_link(tesk_fib_entry_t **head, tesk_fib_entry_t *entry) {
  address_count++;
  if (slots != nullptr && !is_full()) {
    link_indexed(head, entry);
    return;
  }
  entry->next = *head;
  *head = entry;
  make_slots();
}
