#include "tesk/tesk_fib.h"

#include <stdlib.h>
#include <string.h>

#include "tesk/tesk_fib_index.h"

boolean tesk_init_fib() {
  for (tesk_fib_entry_t *&head : fib_bucket) {
    head = nullptr;
  }
  tesk_fib_index_clear();
  return true;
}

uint8_t tesk_fib_hash_fn(const uint8_t *mac_addr) {
  const uint32_t low = (uint32_t)mac_addr[2] << 24 | (uint32_t)mac_addr[3] << 16 |
                       (uint32_t)mac_addr[4] << 8 | (uint32_t)mac_addr[5];
  return (uint8_t)(low % TESK_BUCKETS);
}

tesk_fib_entry_t **tesk_fib_hash_find_(const uint8_t *mac_addr, uint16_t) {
  if (fib_index.room != 0) {
    return tesk_fib_index_find(mac_addr);
  }
  tesk_fib_entry_t **link = &fib_bucket[tesk_fib_hash_fn(mac_addr)];
  for (; *link != nullptr; link = &(*link)->next) {
    if (memcmp((*link)->mac_address, mac_addr, sizeof(*link)->mac_address) == 0) {
      return link;
    }
  }
  return nullptr;
}

tesk_port_t *tesk_fib_hash_lookup(const uint8_t *mac_addr, uint16_t vlan) {
  tesk_fib_entry_t **link = tesk_fib_hash_find_(mac_addr, vlan);
  return link == nullptr ? nullptr : (*link)->tesk_port;
}

boolean tesk_fib_hash_insert(const uint8_t *mac_addr, tesk_port_t *tesk_port, uint16_t vlan) {
  tesk_fib_entry_t **link = tesk_fib_hash_find_(mac_addr, vlan);
  if (link != nullptr) {
    (*link)->tesk_port = tesk_port;
    return true;
  }
  auto *entry = (tesk_fib_entry_t *)malloc(sizeof(tesk_fib_entry_t));
  if (entry == nullptr) {
    return false;
  }
  memcpy(entry->mac_address, mac_addr, sizeof entry->mac_address);
  entry->tesk_port = tesk_port;
  tesk_fib_index_link(&fib_bucket[tesk_fib_hash_fn(mac_addr)], entry);
  return true;
}

boolean tesk_fib_purge_port_entries(const tesk_port_t *tesk_port) {
  boolean is_changed = false;
  for (tesk_fib_entry_t *&head : fib_bucket) {
    tesk_fib_entry_t **link = &head;
    while (*link != nullptr) {
      tesk_fib_entry_t *entry = *link;
      if (entry->tesk_port == tesk_port) {
        *link = entry->next;
        free(entry);
        is_changed = true;
      } else {
        link = &entry->next;
      }
    }
  }
  if (is_changed) {
    tesk_fib_index_rebuild();
  }
  return true;
}
