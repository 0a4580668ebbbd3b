#include "tests/standin/store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "opal/kvs.h"
#include "tests/standin/script.h"

namespace standin {

namespace {

struct Open {
  std::string uri;
  size_t cursor = 0;
  kvs_datum_t datum = {};
  bool is_closed = false;
};

struct Stores {
  std::map<std::string, Store> by_uri;
  std::deque<Open> open;  // a handle is the position, counted from 1; data handed out stays in place
};

Stores the_stores;

/** The open store of a handle. Fails the test for a handle that is closed or was never opened.
 * @return null for those, and for 0, which the daemon keeps in use after a failed open */
Open *opened(kvs_service_t handle) {
  if (handle == 0) return nullptr;
  Open *open = handle > the_stores.open.size() ? nullptr : &the_stores.open[handle - 1];
  if (open != nullptr && !open->is_closed) return open;
  ADD_FAILURE() << "store handle " << handle << (open == nullptr ? " was never opened" : " is closed");
  return nullptr;
}

Bytes bytes_of(const kvs_datum_t *datum) {
  const auto *bytes = static_cast<const uint8_t *>(datum->ptr);
  return bytes == nullptr ? Bytes() : Bytes(bytes, bytes + datum->siz);
}

std::string shown_datum(const kvs_datum_t *datum) { return shown_bytes(datum->ptr, datum->siz); }

auto find_record(Store &in, const kvs_datum_t *key) {
  return std::ranges::find(in.records, bytes_of(key), &std::pair<Bytes, Bytes>::first);
}

const kvs_datum_t *hand_out(Open &open, Bytes &bytes) {
  open.datum = {bytes.data(), static_cast<uint32_t>(bytes.size())};
  return &open.datum;
}

kvs_service_t open_or_fail(const Answer &answer, const std::string &uri, bool exists, rcode_t *rcode) {
  *rcode = answer.gives(static_cast<rcode_t>(exists ? RCODE_SUCCESS : RCODE_NOT_FOUND));
  return answer.returns(*rcode == RCODE_SUCCESS && !answer.has_result() ? open_store(uri) : 0u);
}

}  // namespace

Store &store(const std::string &uri) { return the_stores.by_uri[uri]; }

bool store_exists(const std::string &uri) { return the_stores.by_uri.contains(uri); }

uint32_t open_store(const std::string &uri) {
  the_stores.open.push_back({uri});
  return static_cast<uint32_t>(the_stores.open.size());
}

Bytes cin_key(int32_t vlan) {
  const auto number = static_cast<uint32_t>(vlan);
  return {0,
          0,
          0,
          0,
          static_cast<uint8_t>(number >> 24),
          static_cast<uint8_t>(number >> 16),
          static_cast<uint8_t>(number >> 8),
          static_cast<uint8_t>(number)};
}

void store_cin_vlans(const std::string &uri, const std::vector<int32_t> &vlans) {
  for (const int32_t vlan : vlans) store(uri).records.emplace_back(cin_key(vlan), Bytes());
}

void reset_stores() { the_stores = {}; }

}  // namespace standin

using namespace standin;

kvs_service_t kvs_open(const char *uri, rcode_t *rcode) {
  return open_or_fail(call("kvs_open", uri), uri, store_exists(uri), rcode);
}

kvs_service_t kvs_create(const char *uri, rcode_t *rcode) {
  const Answer answer = call("kvs_create", uri);
  if (!answer.has_result()) store(uri) = {};
  return open_or_fail(answer, uri, true, rcode);
}

rcode_t kvs_close(kvs_service_t handle) {
  const Answer answer = call("kvs_close", handle);
  if (Open *open = opened(handle)) open->is_closed = true;  // also when the close fails
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

rcode_t kvs_max_key(kvs_service_t handle, uint32_t size) {
  const Answer answer = call("kvs_max_key", handle, size);
  const Open *open = opened(handle);
  if (open != nullptr && !answer.has_result()) store(open->uri).max_key = size;
  return answer.returns<rcode_t>(open == nullptr ? RCODE_INVALID : RCODE_SUCCESS);
}

rcode_t kvs_max_value(kvs_service_t handle, uint32_t size) {
  const Answer answer = call("kvs_max_value", handle, size);
  const Open *open = opened(handle);
  if (open != nullptr && !answer.has_result()) store(open->uri).max_value = size;
  return answer.returns<rcode_t>(open == nullptr ? RCODE_INVALID : RCODE_SUCCESS);
}

rcode_t kvs_version_set(kvs_service_t handle, uint32_t slot, version_id_t version) {
  const Answer answer = call("kvs_version_set", handle, slot, hex(version));
  const Open *open = opened(handle);
  if (open != nullptr && !answer.has_result()) store(open->uri).versions[slot] = version;
  return answer.returns<rcode_t>(open == nullptr ? RCODE_INVALID : RCODE_SUCCESS);
}

rcode_t kvs_version_get(kvs_service_t handle, uint32_t slot, version_id_t *version) {
  const Answer answer = call("kvs_version_get", handle, slot);
  const Open *open = opened(handle);
  if (answer.has_result() || open == nullptr) return answer.returns<rcode_t>(RCODE_INVALID);
  const auto &versions = store(open->uri).versions;
  const auto found = versions.find(slot);
  if (found == versions.end()) return answer.returns<rcode_t>(RCODE_NOT_FOUND);
  *version = found->second;
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

rcode_t kvs_snapshot(kvs_service_t source, uint32_t options, const char *destination_uri) {
  const Answer answer = call("kvs_snapshot", source, options, destination_uri);
  const Open *open = opened(source);
  if (answer.has_result() || open == nullptr) return answer.returns<rcode_t>(RCODE_INVALID);
  store(destination_uri) = Store(store(open->uri));
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

const kvs_datum_t *kvs_fetch(kvs_service_t handle, const kvs_datum_t *key, rcode_t *rcode) {
  const Answer answer = call("kvs_fetch", handle, shown_datum(key));
  Open *open = opened(handle);
  if (open == nullptr) {
    *rcode = answer.gives<rcode_t>(RCODE_INVALID);
    return answer.returns_pointer<const kvs_datum_t>(nullptr);
  }
  Store &in = store(open->uri);
  const auto found = find_record(in, key);
  *rcode = answer.gives(static_cast<rcode_t>(found == in.records.end() ? RCODE_NOT_FOUND : RCODE_SUCCESS));
  const bool is_found = *rcode == RCODE_SUCCESS && found != in.records.end();
  return answer.returns_pointer(is_found ? hand_out(*open, found->second) : nullptr);
}

rcode_t kvs_store(kvs_service_t handle, uint32_t option, const kvs_datum_t *key, const kvs_datum_t *value) {
  const Answer answer = call("kvs_store", handle, option, shown_datum(key), shown_datum(value));
  const Open *open = opened(handle);
  if (answer.has_result() || open == nullptr) return answer.returns<rcode_t>(RCODE_INVALID);
  Store &in = store(open->uri);
  if (key->siz > in.max_key || value->siz > in.max_value) return answer.returns<rcode_t>(RCODE_TOO_LARGE);
  const auto found = find_record(in, key);
  if (found == in.records.end())
    in.records.emplace_back(bytes_of(key), bytes_of(value));
  else
    found->second = bytes_of(value);
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

rcode_t kvs_delete(kvs_service_t handle, const kvs_datum_t *key) {
  const Answer answer = call("kvs_delete", handle, shown_datum(key));
  const Open *open = opened(handle);
  if (answer.has_result() || open == nullptr) return answer.returns<rcode_t>(RCODE_INVALID);
  Store &in = store(open->uri);
  const auto found = find_record(in, key);
  if (found == in.records.end()) return answer.returns<rcode_t>(RCODE_NOT_FOUND);
  in.records.erase(found);
  return answer.returns<rcode_t>(RCODE_SUCCESS);
}

const kvs_datum_t *kvs_move2location(kvs_service_t handle, uint32_t where, rcode_t *rcode) {
  const Answer answer = call("kvs_move2location", handle, where);
  Open *open = opened(handle);
  *rcode = answer.gives(static_cast<rcode_t>(open == nullptr ? RCODE_INVALID : RCODE_SUCCESS));
  if (open == nullptr || *rcode != RCODE_SUCCESS) return answer.returns_pointer<const kvs_datum_t>(nullptr);
  open->cursor = where == KVS_LOCATION_FIRST ? 0 : open->cursor + 1;
  auto &records = store(open->uri).records;
  const bool is_there = open->cursor < records.size();
  return answer.returns_pointer(is_there ? hand_out(*open, records[open->cursor].first) : nullptr);
}
