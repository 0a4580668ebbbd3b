#include <stdlib.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_port.h"

ifindex_hash_entry_t *ifidx_bucket[TESK_BUCKETS];

namespace {

ifindex_hash_entry_t **chain_of(if_index_t if_idx) {
  return &ifidx_bucket[tesk_ifindex_hash_fn(if_idx, TESK_BUCKETS)];
}

}  // namespace

uint32_t tesk_ifindex_hash_fn(if_index_t if_idx, uint32_t bkt_cnt) {
  if_index_type_t type = 0;
  if (if_index_get_type(if_idx, &type) != 0) {
    TESK_ERR("%s: Invalid interface index %08x\n", __func__, if_idx);
    return 0;
  }
  uint32_t number = 0;
  if (type == IF_INDEX_TYPE_PORT_CHANNEL) {
    if (if_index_port_channel_get_channel_num(if_idx, &number) != 0) {
      TESK_ERR("%s:if_index_port_channel_get_channel_num failed for ifindex 0x%x\n", __func__, if_idx);
      return 0;
    }
  } else if (type == IF_INDEX_TYPE_ETHERNET) {
    if (if_index_get_port(if_idx, &number) != 0) {
      TESK_ERR("%s:if_index_get_port failed for ifindex 0x%x\n", __func__, if_idx);
      return 0;
    }
  }
  return number % bkt_cnt;
}

void tesk_ifindex_hash_init() {
  for (ifindex_hash_entry_t *&head : ifidx_bucket) {
    head = nullptr;
  }
}

boolean tesk_ifindex_hash_insert(if_index_t if_idx, void *param) {
  if (tesk_ifindex_hash_find_(if_idx) != nullptr) {
    TESK_ERR("%s: IfIndex (0x%x) already exists on Hash Tbl\n", __func__, if_idx);
    return false;
  }
  auto *entry = (ifindex_hash_entry_t *)malloc(sizeof(ifindex_hash_entry_t));
  if (entry == nullptr) {
    return false;
  }
  ifindex_hash_entry_t **head = chain_of(if_idx);
  *entry = {.if_index = if_idx, .param = param, .next = *head};
  *head = entry;
  if (tesk_krnl_add_or_update_port((tesk_port_t *)param) != 0) {
    TESK_ERR("Synchronization with kernel failed\n");
  }
  return true;
}

ifindex_hash_entry_t **tesk_ifindex_hash_find_(if_index_t if_idx) {
  for (ifindex_hash_entry_t **link = chain_of(if_idx); *link != nullptr; link = &(*link)->next) {
    if ((*link)->if_index == if_idx) {
      return link;
    }
  }
  return nullptr;
}

tesk_port_t *tesk_ifindex_hash_find(if_index_t if_idx) {
  ifindex_hash_entry_t **link = tesk_ifindex_hash_find_(if_idx);
  return link == nullptr ? nullptr : (tesk_port_t *)(*link)->param;
}

void tesk_ifindex_hash_detach(const tesk_port_t *port) {
  for (ifindex_hash_entry_t *entry : ifidx_bucket) {
    for (; entry != nullptr; entry = entry->next) {
      if (entry->param == port) {
        entry->param = nullptr;
      }
    }
  }
}

boolean tesk_ifindex_hash_delete(if_index_t if_idx) {
  ifindex_hash_entry_t **link = tesk_ifindex_hash_find_(if_idx);
  if (link == nullptr) {
    return false;
  }
  ifindex_hash_entry_t *entry = *link;
  if (tesk_krnl_del_port((tesk_port_t *)entry->param) != 0) {
    TESK_ERR("Synchronization with kernel failed\n");
  }
  *link = entry->next;
  free(entry);
  return true;
}
