/* kvs: the key/value store service.
 *
 * A URI names a store. A store holds records in insertion order, limits on the sizes of keys and values,
 * and version words in numbered slots. All of it survives a close. */
#pragma once

#include "opal/rcode.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Handle of an open store; 0 is none. */
typedef uint32_t kvs_service_t;

/** Store version: major in bits 31 to 20, minor in bits 19 to 10, patch in bits 9 to 0. */
typedef uint32_t version_id_t;

typedef struct kvs_datum {
  void *ptr;
  uint32_t siz; /**< bytes at `ptr` */
} kvs_datum_t;

/** Positions of kvs_move2location. */
enum { KVS_LOCATION_FIRST = 1, KVS_LOCATION_NEXT = 3 };

static inline version_id_t version_id_set(uint32_t major, uint32_t minor, uint32_t patch) {
  return (major & 0xfffu) << 20 | (minor & 0x3ffu) << 10 | (patch & 0x3ffu);
}

/**
 * Opens an existing store.
 * @param rcode receives 0, RCODE_NOT_FOUND, RCODE_CORRUPT for a file that is not a store, …
 * @return the handle, 0 on failure
 */
kvs_service_t kvs_open(const char *uri, rcode_t *rcode);

/** Creates an empty store, replacing one of the same name, and opens it. Otherwise like kvs_open. */
kvs_service_t kvs_create(const char *uri, rcode_t *rcode);

rcode_t kvs_close(kvs_service_t store);

/** Sets the largest key in bytes that the store accepts; 64 by default. */
rcode_t kvs_max_key(kvs_service_t store, uint32_t size);

/** Sets the largest value in bytes that the store accepts; 1024 by default. */
rcode_t kvs_max_value(kvs_service_t store, uint32_t size);

rcode_t kvs_version_set(kvs_service_t store, uint32_t slot, version_id_t version);

/** @return 0, or RCODE_NOT_FOUND when the slot was never written; `version` is then untouched */
rcode_t kvs_version_get(kvs_service_t store, uint32_t slot, version_id_t *version);

/**
 * Copies a whole store, replacing what is at the destination. Whatever happens, the destination holds
 * the old store or the new one, never a part.
 * @param options none defined: 0
 */
rcode_t kvs_snapshot(kvs_service_t source, uint32_t options, const char *destination_uri);

/**
 * Looks up a record.
 * @param rcode receives 0 when present, RCODE_NOT_FOUND when not
 * @return the value, owned by the library and valid until the next call on this store; null on failure
 */
const kvs_datum_t *kvs_fetch(kvs_service_t store, const kvs_datum_t *key, rcode_t *rcode);

/** Writes a record. @param option 1: replace the value of a key that is present, keeping its place */
rcode_t kvs_store(kvs_service_t store, uint32_t option, const kvs_datum_t *key, const kvs_datum_t *value);

/** Removes a record. @return 0, or RCODE_NOT_FOUND */
rcode_t kvs_delete(kvs_service_t store, const kvs_datum_t *key);

/**
 * Moves the store's cursor.
 * @param where KVS_LOCATION_FIRST or KVS_LOCATION_NEXT
 * @return the key of the record there, owned by the library and valid until the next call on this
 *         store; null at the end, with `rcode` 0, or on failure
 */
const kvs_datum_t *kvs_move2location(kvs_service_t store, uint32_t where, rcode_t *rcode);

#ifdef __cplusplus
}
#endif
