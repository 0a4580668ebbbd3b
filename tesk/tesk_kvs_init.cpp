#include <stdio.h>

#include "opal/overseer.h"
#include "opal/tracekit.h"
#include "tesk/tesk_dbg.h"
#include "tesk/tesk_kvs.h"

kvs_service_t tesk_debug_kvs;
char tesk_kvs_debug_url[TESK_KVS_URL_BYTES];

namespace {

constexpr char debug_name[] = "debug_data";

enum { DEBUG_MAX_KEY = 512 };

version_id_t debug_version() { return version_id_set(1, 0, 1); }

/* @param result receives -1 or a code of the store service
 * @return false when the store was not created; without a handle it was not, whatever the code */
boolean debug_store_create(rcode_t *result, tesk_place_t place = tesk_here()) {
  const kvs_service_t created = kvs_create(tesk_kvs_debug_url, result);
  if (created == 0) {
    TESK_ERR_AT(place, "TESK KVS Create Error\n");
    return false;
  }
  *result = kvs_max_key(created, DEBUG_MAX_KEY);
  if (*result != 0) {
    TESK_ERR_AT(place, "TESK kvs_max_key Error\n");
    return false;
  }
  *result = kvs_max_value(created, (tracekit_get_max_kvsvalue() * 2) & 0xFFFE);
  if (*result != 0) {
    TESK_ERR_AT(place, "TESK kvs_max_value Error\n");
    tesk_kvs_startup_cfg = 0;
    return false;
  }
  if (tesk_cfg_kvs_version(created) != 0) {
    TESK_ERR_AT(place, "TESK set_kvs_ver Error\n");
    *result = (rcode_t)-1;
    return false;
  }
  return true;
}

}  // namespace

int tesk_init_kvs() {
  (void)tesk_kvs_dbg_init();
  (void)tesk_kvs_cfg_init();
  return 0;
}

int tesk_cfg_kvs_version(kvs_service_t service) {
  return kvs_version_set(service, TESK_KVS_VERSION_SLOT, debug_version()) == 0 ? 0 : -1;
}

rcode_t tesk_kvs_dbg_init() {
  const char *base = overseer_running_cfg_uri_get();
  TESK_CTRL("tesk_kvs_init uri[%s]\n", tesk_trace_text(base));
  (void)snprintf(tesk_kvs_debug_url, sizeof tesk_kvs_debug_url, "%s", tesk_kvs_uri(base, debug_name));
  rcode_t result = 0;
  tesk_debug_kvs = kvs_open(tesk_kvs_debug_url, &result);
  if (tesk_debug_kvs == 0) {
    if (!debug_store_create(&result)) {
      return result;
    }
    tesk_debug_kvs = kvs_open(tesk_kvs_debug_url, &result);
    if (tesk_debug_kvs == 0) {
      TESK_ERR("TESK kvs_open after Create Error\n");
      return result;
    }
  }
  /* Not an error; traced as one so that it always reaches the error history. */
  TESK_ERR("tesk_kvs_init Debug KVS success!\n");
  return 0;
}
