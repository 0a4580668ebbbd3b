// A configuration store's file, as the daemon finds it at start: whole, damaged or made up.
#include "host/opal/store.h"

#include "fuzz/fuzz.h"
#include "tests/host/bus/temp_folder.h"

namespace {

constexpr const char *in_memory = "/dev/shm";

const opal::BlobView key = std::as_bytes(std::span("key"));
const opal::BlobView value = std::as_bytes(std::span("value"));

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  const TempFolder folder(in_memory);
  const std::filesystem::path file = folder.path() / "store";
  rcode_t rcode = 0;
  {
    std::optional<opal::Store> store = opal::Store::create(file, rcode);
    must(store && store->write(key, value, true) == RCODE_SUCCESS &&
             store->set_version(1, 0x100001) == RCODE_SUCCESS,
         "a store can be made");
  }
  return {input_of_file(file)};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const TempFolder folder(in_memory);
  const std::filesystem::path file = folder.path() / "store";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
  rcode_t rcode = RCODE_SUCCESS;
  std::optional<opal::Store> store = opal::Store::open(file, rcode);
  fuzz::must(store.has_value() == (rcode == RCODE_SUCCESS), "a store is open, or there is a code");
  if (!store) return 0;
  std::uint32_t version = 0;
  opal::Blob found;
  (void)store->version(1, version);
  (void)store->fetch(key, found);
  store->rewind();
  for (int records = 0; records < 100 && store->next(found) == RCODE_SUCCESS; ++records) {
  }
  (void)store->write(key, value, true);
  (void)store->erase(key);
  (void)store->copy_to(folder.path() / "copy");
  return 0;
}
