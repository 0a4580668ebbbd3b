#include "tesk/tesk_vlan.h"

vlan_hash_entry_t *vlan_bucket[TESK_BUCKETS];

namespace {

const vlan_hash_entry_t *find(uint16_t vlan) {
  vlan_hash_entry_t **link = tesk_vlan_hash_find_(vlan);
  return link == nullptr ? nullptr : *link;
}

}  // namespace

vlan_hash_entry_t **tesk_vlan_hash_find_(uint16_t vlan) {
  for (vlan_hash_entry_t **link = &vlan_bucket[vlan % TESK_BUCKETS]; *link != nullptr;
       link = &(*link)->next) {
    if ((*link)->vlan == vlan) {
      return link;
    }
  }
  return nullptr;
}

uint32_t tesk_vlan_hash_get_cbl_ltl(uint16_t vlan) {
  const vlan_hash_entry_t *entry = find(vlan);
  return entry == nullptr ? TESK_LTL_ABSENT : entry->ltl & entry->cbl;
}

uint32_t tesk_vlan_hash_get_ltl(uint16_t vlan) {
  const vlan_hash_entry_t *entry = find(vlan);
  return entry == nullptr ? TESK_LTL_ABSENT : entry->ltl;
}
