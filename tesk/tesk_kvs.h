/* The daemon's stores in the platform's key/value service.
 *
 *   debug    "debug_data"        the trace facility's saved switches
 *   running  "tesk_cfg"          one record for each configured CIN VLAN
 *   startup  "tesk_startup_cfg"  source of the running store at start; open only then
 *
 * At every start the running store is a snapshot of the startup store. It is empty when there is no startup
 * store, or when the version of that store differs from this program's. Only the supervisor's save request
 * writes the startup store. A failure of a store never stops start-up. A record consists of its key; the
 * value is empty.
 *
 *   tesk_kvs.cpp       startup and running store
 *   tesk_kvs_cin.cpp   the CIN VLANs of a store
 *   tesk_kvs_init.cpp  start-up, and the debug store */
#pragma once

#include "opal/kvs.h"
#include "tesk/tesk_common.h"

/** Kinds of record. */
enum { TESK_KVS_KEY_CIN_VLAN = 0 };

enum { TESK_KVS_URL_BYTES = 256 };

/** The slot in which a store keeps its version. */
enum { TESK_KVS_VERSION_SLOT = 1 };

/** Key of a record as it is stored, the same on every host. */
typedef struct tesk_kvs_key {
  uint8_t tesk_key_type;
  uint8_t padding[3]; /**< 0 */
  vlan_id_t vlan;     /**< big-endian */
} tesk_kvs_key_t;
static_assert(sizeof(tesk_kvs_key_t) == 8);

extern kvs_service_t tesk_debug_kvs;
extern kvs_service_t tesk_kvs_cfg;
extern kvs_service_t tesk_kvs_startup_cfg; /**< 0 while it is not open */
extern char tesk_kvs_config_url[TESK_KVS_URL_BYTES];
extern char tesk_kvs_debug_url[TESK_KVS_URL_BYTES];

/** Name of the startup store, the last component of its URI. */
extern const char tesk_kvs_startup_name[];

/** Opens the debug and the running store. @return 0 */
int tesk_init_kvs();

/** @return the URI of a store under a base, owned by the platform and valid until the next call */
const char *tesk_kvs_uri(const char *base_uri, const char *name);

/** Sets the debug store's version. @return 0, or -1 */
int tesk_cfg_kvs_version(kvs_service_t service);

rcode_t tesk_kvs_dbg_init();

/** @return false when the store exists but does not open */
bool tesk_open_startup_config_kvs();
void tesk_close_startup_config_kvs();

/** @return true exactly for equal versions */
bool tesk_kvs_are_versions_compatible(version_id_t cur_version, version_id_t saved_version);

/**
 * Creates and opens the running store.
 * @param running_kvs_p receives the last handle obtained, 0 for none
 * @param reference_kvs the open startup store, 0 for none
 */
rcode_t tesk_kvs_create_and_open_config_kvs(char *running_uri, kvs_service_t *running_kvs_p,
                                            kvs_service_t reference_kvs);
rcode_t tesk_kvs_cfg_init();

/**
 * Lists the CIN VLANs of a store in its order.
 * @param vlan_count receives the number, at most 32
 * @param vlan_list receives heap memory that the caller frees, null for none
 * @return 0, or 1 when memory is short; the outputs are then untouched
 */
rcode_t tesk_kvs_cin_vlan_config_get(kvs_service_t kvs, uint16_t *vlan_count, vlan_id_t **vlan_list);
rcode_t tesk_kvs_cin_running_vlan_config_get(uint16_t *vlan_count, vlan_id_t **vlan_list);

/** @return 0 when the running store holds the VLAN, else the store's code */
rcode_t tesk_kvs_get_cin_vlan_config(vlan_id_t cin_vlan);

/** @return 0, also when the VLAN was stored already */
rcode_t tesk_kvs_add_cin_vlan_config(vlan_id_t cin_vlan);

/** @return 0, or the store's code, also when the VLAN was not stored */
rcode_t tesk_kvs_del_cin_vlan_config(vlan_id_t cin_vlan);
