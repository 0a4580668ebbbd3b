#include "host/opal/trace_switches.h"

#include <cstring>

namespace opal::trace {
namespace {

std::string key_of(std::uint32_t category) { return "trace." + std::to_string(category); }

kvs_datum_t datum_of(std::string &key) { return {key.data(), static_cast<std::uint32_t>(key.size())}; }

}  // namespace

constinit Switches switches;

void set_printed(std::uint32_t category, bool on) {
  if (category < category_end) switches.not_printed[category] = on ? 0 : 1;
}

void set_recorded(std::uint32_t category, bool on) {
  if (category < category_end) switches.not_recorded[category] = on ? 0 : 1;
}

rcode_t save_switch(kvs_service_t store, std::uint32_t category, SavedSwitch saved) {
  std::string key = key_of(category);
  const kvs_datum_t key_datum = datum_of(key);
  const kvs_datum_t value_datum{&saved, sizeof saved};
  return kvs_store(store, 1, &key_datum, &value_datum);
}

std::optional<SavedSwitch> load_switch(kvs_service_t store, std::uint32_t category) {
  std::string key = key_of(category);
  const kvs_datum_t key_datum = datum_of(key);
  rcode_t rcode = RCODE_SUCCESS;
  const kvs_datum_t *value = kvs_fetch(store, &key_datum, &rcode);
  SavedSwitch saved;
  if (value == nullptr || value->siz != sizeof saved) return std::nullopt;
  std::memcpy(&saved, value->ptr, sizeof saved);
  return saved;
}

}  // namespace opal::trace
