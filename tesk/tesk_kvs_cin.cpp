#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_kvs.h"

namespace {

tesk_kvs_key_t key_of(vlan_id_t vlan) {
  return {
      .tesk_key_type = TESK_KVS_KEY_CIN_VLAN, .padding = {0, 0, 0}, .vlan = (vlan_id_t)htonl((uint32_t)vlan)};
}

vlan_id_t key_vlan(const tesk_kvs_key_t *key) { return (vlan_id_t)ntohl((uint32_t)key->vlan); }

/* @return false if the record is not for a CIN VLAN, after tracing that */
boolean read_cin_key(const kvs_datum_t *datum, vlan_id_t *vlan, tesk_place_t place = tesk_here()) {
  tesk_kvs_key_t key;
  if (datum->siz < sizeof key) {
    TESK_ERR_AT(place, "%s: Key of %u bytes in KVS is too short\n", place.function, datum->siz);
    return false;
  }
  memcpy(&key, datum->ptr, sizeof key);
  if (key.tesk_key_type != TESK_KVS_KEY_CIN_VLAN) {
    TESK_ERR_AT(place, "%s: Unknown key type (%d) in KVS\n", place.function, key.tesk_key_type);
    return false;
  }
  *vlan = key_vlan(&key);
  return true;
}

}  // namespace

rcode_t tesk_kvs_cin_vlan_config_get(kvs_service_t kvs, uint16_t *vlan_count, vlan_id_t **vlan_list) {
  auto *list = (vlan_id_t *)malloc(TESK_LOOKUP_LIST_MAX * sizeof(vlan_id_t));
  if (list == nullptr) {
    TESK_ERR("%s:Failed to allocate memory for KVS CIN VLAN list\n", __func__);
    return TESK_RC_NO_MEMORY;
  }
  *vlan_list = list;
  uint16_t count = 0;
  rcode_t result = 0;
  const kvs_datum_t *key = kvs_move2location(kvs, KVS_LOCATION_FIRST, &result);
  for (; key != nullptr; key = kvs_move2location(kvs, KVS_LOCATION_NEXT, &result)) {
    if (!read_cin_key(key, &list[count])) {
      continue;
    }
    count++;
    if (count > TESK_LOOKUP_LIST_MAX - 1) {
      TESK_ERR("%s:KVS CIN VLAN list size %d exhausted\n", __func__, TESK_LOOKUP_LIST_MAX);
      *vlan_count = count;
      return TESK_RC_SUCCESS;
    }
  }
  if (count == 0) {
    TESK_ERR("%s: No CIN VLAN configuration found in KVS\n", __func__);
    free(list);
    *vlan_list = nullptr;
  } else {
    TESK_CTRL("%s: %d CIN VLAN configuration found in KVS\n", __func__, count);
  }
  *vlan_count = count;
  return TESK_RC_SUCCESS;
}

rcode_t tesk_kvs_cin_running_vlan_config_get(uint16_t *vlan_count, vlan_id_t **vlan_list) {
  return tesk_kvs_cin_vlan_config_get(tesk_kvs_cfg, vlan_count, vlan_list);
}

rcode_t tesk_kvs_get_cin_vlan_config(vlan_id_t cin_vlan) {
  tesk_kvs_key_t key = key_of(cin_vlan);
  const kvs_datum_t datum = {.ptr = &key, .siz = sizeof key};
  rcode_t result = 0;
  (void)kvs_fetch(tesk_kvs_cfg, &datum, &result);
  if (result != 0) {
    TESK_CTRL("%s: VLAN (%d) configuration does not exist in KVS\n", __func__, cin_vlan);
  } else {
    TESK_CTRL("%s: VLAN (%d) configuration exists in KVS\n", __func__, cin_vlan);
  }
  return result;
}

rcode_t tesk_kvs_add_cin_vlan_config(vlan_id_t cin_vlan) {
  if (tesk_kvs_get_cin_vlan_config(cin_vlan) == 0) {
    TESK_ERR("%s: VLAN (%d) configuration already exists in KVS\n", __func__, cin_vlan);
    return 0;
  }
  tesk_kvs_key_t key = key_of(cin_vlan);
  const kvs_datum_t datum = {.ptr = &key, .siz = sizeof key};
  const kvs_datum_t empty = {.ptr = nullptr, .siz = 0};
  const rcode_t result = kvs_store(tesk_kvs_cfg, 1, &datum, &empty);
  if (result != 0) {
    TESK_ERR("%s: Failed to write CIN VLAN (%d) to KVS\n", __func__, cin_vlan);
  } else {
    TESK_CTRL("%s: VLAN (%d) configuration saved in KVS\n", __func__, cin_vlan);
  }
  return result;
}

rcode_t tesk_kvs_del_cin_vlan_config(vlan_id_t cin_vlan) {
  rcode_t result = tesk_kvs_get_cin_vlan_config(cin_vlan);
  if (result != 0) {
    TESK_ERR("%s: VLAN (%d) configuration does not exist in KVS\n", __func__, cin_vlan);
    return result;
  }
  tesk_kvs_key_t key = key_of(cin_vlan);
  const kvs_datum_t datum = {.ptr = &key, .siz = sizeof key};
  result = kvs_delete(tesk_kvs_cfg, &datum);
  if (result != 0) {
    TESK_ERR("%s: Failed to delete CIN VLAN (%d) configuration from KVS\n", __func__, cin_vlan);
  } else {
    TESK_CTRL("%s: VLAN (%d) configuration deleted from KVS\n", __func__, cin_vlan);
  }
  return result;
}
