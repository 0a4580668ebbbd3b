#include "opal/kvs.h"

#include <map>

#include "host/opal/store.h"

using namespace opal;

namespace {

/// A store as the program sees it, with the bytes that the last call returned.
struct OpenStore {
  Store store;
  Blob handed_out;
  kvs_datum_t datum{};

  const kvs_datum_t *hand_out(Blob bytes) {
    handed_out = std::move(bytes);
    datum = {handed_out.empty() ? nullptr : handed_out.data(), static_cast<uint32_t>(handed_out.size())};
    return &datum;
  }
};

class StoreTable {
 public:
  kvs_service_t add(Store store) {
    // Handles are not reused soon, so that a stale one finds nothing.
    do ++last_;
    while (last_ == 0 || stores_.contains(last_));
    stores_.emplace(last_, OpenStore{std::move(store), {}, {}});
    return last_;
  }
  OpenStore *find(kvs_service_t handle) {
    const auto found = stores_.find(handle);
    return found != stores_.end() ? &found->second : nullptr;
  }
  bool remove(kvs_service_t handle) { return stores_.erase(handle) == 1; }

 private:
  std::map<kvs_service_t, OpenStore> stores_;
  kvs_service_t last_ = 0;
};

StoreTable &stores() {
  static StoreTable table;
  return table;
}

using Opener = host::Result<Store> (*)(const std::filesystem::path &);

kvs_service_t open_by(Opener opener, const char *uri, rcode_t *rcode) {
  const std::optional<std::filesystem::path> path = store_path(uri);
  host::Result<Store> store = path ? opener(*path) : refused(RCODE_INVALID);
  if (rcode != nullptr) *rcode = rcode_of(store);
  return store ? stores().add(std::move(*store)) : 0;
}

template <typename Operation>
rcode_t with_store(kvs_service_t handle, Operation operation) {
  OpenStore *open = stores().find(handle);
  return open != nullptr ? rcode_of(operation(open->store)) : rcode_t{RCODE_INVALID};
}

/// @return the bytes of a datum; nothing when it is null or its bytes have no address
std::optional<BlobView> bytes_of(const kvs_datum_t *datum) {
  if (datum == nullptr || (datum->ptr == nullptr && datum->siz != 0)) return std::nullopt;
  return BlobView(static_cast<const std::byte *>(datum->ptr), datum->siz);
}

}  // namespace

kvs_service_t kvs_open(const char *uri, rcode_t *rcode) { return open_by(Store::open, uri, rcode); }

kvs_service_t kvs_create(const char *uri, rcode_t *rcode) { return open_by(Store::create, uri, rcode); }

rcode_t kvs_close(kvs_service_t store) {
  return stores().remove(store) ? rcode_t{RCODE_SUCCESS} : rcode_t{RCODE_INVALID};
}

rcode_t kvs_max_key(kvs_service_t store, uint32_t size) {
  return with_store(store, [size](Store &open) { return open.set_key_limit(size); });
}

rcode_t kvs_max_value(kvs_service_t store, uint32_t size) {
  return with_store(store, [size](Store &open) { return open.set_value_limit(size); });
}

rcode_t kvs_version_set(kvs_service_t store, uint32_t slot, version_id_t version) {
  return with_store(store, [=](Store &open) { return open.set_version(slot, version); });
}

rcode_t kvs_version_get(kvs_service_t store, uint32_t slot, version_id_t *version) {
  return with_store(store, [=](Store &open) {
    return open.version(slot).map([version](version_id_t word) { *version = word; });
  });
}

rcode_t kvs_snapshot(kvs_service_t source, uint32_t options, const char *destination_uri) {
  const std::optional<std::filesystem::path> destination = store_path(destination_uri);
  if (!destination || options != 0) return RCODE_INVALID;
  return with_store(source, [&](Store &open) { return open.copy_to(*destination); });
}

const kvs_datum_t *kvs_fetch(kvs_service_t store, const kvs_datum_t *key, rcode_t *rcode) {
  OpenStore *open = stores().find(store);
  const std::optional<BlobView> key_bytes = bytes_of(key);
  host::Result<Blob> value =
      open != nullptr && key_bytes ? open->store.fetch(*key_bytes) : refused(RCODE_INVALID);
  if (rcode != nullptr) *rcode = rcode_of(value);
  return value ? open->hand_out(std::move(*value)) : nullptr;
}

rcode_t kvs_store(kvs_service_t store, uint32_t option, const kvs_datum_t *key, const kvs_datum_t *value) {
  const std::optional<BlobView> key_bytes = bytes_of(key);
  const std::optional<BlobView> value_bytes = bytes_of(value);
  if (!key_bytes || !value_bytes || option > 1) return RCODE_INVALID;
  return with_store(store, [&](Store &open) { return open.write(*key_bytes, *value_bytes, option == 1); });
}

rcode_t kvs_delete(kvs_service_t store, const kvs_datum_t *key) {
  const std::optional<BlobView> key_bytes = bytes_of(key);
  if (!key_bytes) return RCODE_INVALID;
  return with_store(store, [&](Store &open) { return open.erase(*key_bytes); });
}

const kvs_datum_t *kvs_move2location(kvs_service_t store, uint32_t where, rcode_t *rcode) {
  OpenStore *open = stores().find(store);
  host::Result<Blob> key = refused(RCODE_INVALID);
  if (open != nullptr && (where == KVS_LOCATION_FIRST || where == KVS_LOCATION_NEXT)) {
    if (where == KVS_LOCATION_FIRST) open->store.rewind();
    key = open->store.next();
  }
  const bool at_end = rcode_of(key) == RCODE_NOT_FOUND;
  if (rcode != nullptr) *rcode = at_end ? rcode_t{RCODE_SUCCESS} : rcode_of(key);
  return key ? open->hand_out(std::move(*key)) : nullptr;
}
