/* The key/value stores, in memory.
 *
 * A store is named by its URI; the supervisor's base URIs are "running:" and "startup:", so that the
 * daemon's stores are "running:debug_data", "running:tesk_cfg" and "startup:tesk_startup_cfg". Records
 * keep their order of insertion, limits are enforced, a snapshot copies everything.
 *
 * Any use of a handle that is closed or was never opened fails the test. The exception is 0, which the daemon
 * keeps after a failed open: calls with it are refused with RCODE_INVALID. */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/standin/system.h"

namespace standin {

inline const std::string debug_store = "running:debug_data";
inline const std::string running_store = "running:tesk_cfg";
inline const std::string startup_store = "startup:tesk_startup_cfg";

struct Store {
  std::vector<std::pair<Bytes, Bytes>> records;
  std::map<uint32_t, uint32_t> versions;
  uint32_t max_key = 64;
  uint32_t max_value = 1024;
};

/** The store of a URI. Creates an empty one if there is none yet. */
Store &store(const std::string &uri);

bool store_exists(const std::string &uri);

/** Opens a store and returns a handle, as the daemon would hold it. */
uint32_t open_store(const std::string &uri);

/** The stored key of a CIN VLAN's record (CIN: chassis internal network). */
Bytes cin_key(int32_t vlan);

/** Adds one record for each VLAN. */
void store_cin_vlans(const std::string &uri, const std::vector<int32_t> &vlans);

void reset_stores();

}  // namespace standin
