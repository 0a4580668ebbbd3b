#include "tesk/tesk_kvs.h"

#include <stdio.h>

#include "opal/overseer.h"
#include "tesk/tesk_dbg.h"

kvs_service_t tesk_kvs_cfg;
kvs_service_t tesk_kvs_startup_cfg;
char tesk_kvs_config_url[TESK_KVS_URL_BYTES];

const char tesk_kvs_startup_name[] = "tesk_startup_cfg";

namespace {

constexpr char running_name[] = "tesk_cfg";

enum { RUNNING_MAX_VALUE = 256 };

version_id_t running_version() { return version_id_set(0, 0, 1); }

/* Copies the startup store if it is of this version. */
rcode_t running_store_copy(kvs_service_t reference, const char *running_uri, tesk_place_t place) {
  version_id_t saved = 0;
  rcode_t result = kvs_version_get(reference, TESK_KVS_VERSION_SLOT, &saved);
  if (result != 0) {
    return result;
  }
  if (!tesk_kvs_are_versions_compatible(running_version(), saved)) {
    TESK_ERR_AT(place, "%s:Startup Configuration Version compatibility check failed\n", place.function);
    return TESK_RC_VERSION;
  }
  TESK_CTRL_AT(place, "%s:Startup Configuration Version compatibility check succeeded\n", place.function);
  result = kvs_snapshot(reference, 0, running_uri);
  if (result != 0) {
    TESK_ERR_AT(place, "%s:Failed to snapshot reference to running KVS - 0x%x", place.function, result);
  } else {
    TESK_CTRL_AT(place, "%s:Startup Configuration copied to running configuration\n", place.function);
  }
  return result;
}

rcode_t running_store_create(const char *running_uri, kvs_service_t *created, tesk_place_t place) {
  rcode_t result = 0;
  *created = kvs_create(running_uri, &result);
  if (result != 0) {
    TESK_ERR_AT(place, "%s:Failed to create KVS for running KVS\n", place.function);
    return result;
  }
  result = kvs_version_set(*created, TESK_KVS_VERSION_SLOT, running_version());
  if (result != 0) {
    TESK_ERR_AT(place, "%s:Failed to set KVS version for running cfg\n", place.function);
    return result;
  }
  result = kvs_max_value(*created, RUNNING_MAX_VALUE);
  if (result != 0) {
    TESK_ERR_AT(place, "%s:Failed to set max val sz for KVS\n", place.function);
  }
  return result;
}

/* Creates a store at the running URI, as a copy of the reference or empty. */
rcode_t running_store_make(const char *running_uri, kvs_service_t reference, kvs_service_t *handle,
                           tesk_place_t place = tesk_here()) {
  rcode_t copied = 0;
  if (reference > 0) {
    copied = running_store_copy(reference, running_uri, place);
    if (copied == 0) {
      return 0;
    }
  }
  TESK_CTRL_AT(place, "%s:Creating fresh running configuration\n", place.function);
  if (copied != 0) {
    TESK_ERR_AT(place, "%s:Failed to snapshot reference to running KVS\n", place.function);
  }
  return running_store_create(running_uri, handle, place);
}

}  // namespace

const char *tesk_kvs_uri(const char *base_uri, const char *name) {
  return overseer_uri_complete(base_uri, overseer_file_prefix_get(), name);
}

bool tesk_open_startup_config_kvs() {
  const char *base = overseer_startup_cfg_uri_get();
  if (base == nullptr) {
    TESK_ERR("%s: overseer_startup_cfg_uri_get failed\n", __func__);
    return true;
  }
  const char *uri = tesk_kvs_uri(base, tesk_kvs_startup_name);
  rcode_t result = 0;
  tesk_kvs_startup_cfg = kvs_open(uri, &result);
  if (result != 0) {
    tesk_kvs_startup_cfg = 0;
    TESK_ERR("%s: Failed to open startup config KVS\n", __func__);
    return false;
  }
  TESK_CTRL("%s: Startup config KVS [%s] opened\n", __func__, uri);
  return true;
}

void tesk_close_startup_config_kvs() {
  if (tesk_kvs_startup_cfg != 0) {
    (void)kvs_close(tesk_kvs_startup_cfg);
    tesk_kvs_startup_cfg = 0;
  }
}

bool tesk_kvs_are_versions_compatible(version_id_t cur_version, version_id_t saved_version) {
  return cur_version == saved_version;
}

rcode_t tesk_kvs_create_and_open_config_kvs(char *running_uri, kvs_service_t *running_kvs_p,
                                            kvs_service_t reference_kvs) {
  kvs_service_t handle = 0;
  rcode_t result = running_store_make(running_uri, reference_kvs, &handle);
  if (result == 0) {
    handle = kvs_open(running_uri, &result);
    if (result != 0) {
      TESK_ERR("%s:Failed to open created running cfg KVS\n", __func__);
    }
  }
  if (result != 0) {
    TESK_ERR("%s: Cfg KVS Failed\n", __func__);
  }
  *running_kvs_p = handle;
  return result;
}

rcode_t tesk_kvs_cfg_init() {
  const char *uri = tesk_kvs_uri(overseer_running_cfg_uri_get(), running_name);
  (void)snprintf(tesk_kvs_config_url, sizeof tesk_kvs_config_url, "%s", uri);
  return tesk_kvs_create_and_open_config_kvs(tesk_kvs_config_url, &tesk_kvs_cfg, tesk_kvs_startup_cfg);
}

int overseercb_cfg_write(qbus_msg_ref_t *ref_p, const char *bin_base_uri, const char *) {
  const rcode_t result = kvs_snapshot(tesk_kvs_cfg, 0, tesk_kvs_uri(bin_base_uri, tesk_kvs_startup_name));
  if (result != 0) {
    TESK_ERR("%s:Failed to snapshot running config to startup config KVS\n", __func__);
  }
  (void)overseer_cfg_action_done(ref_p, result);
  TESK_CTRL("%s:Snapshot running config to startup config KVS done\n", __func__);
  return (int)result;
}
