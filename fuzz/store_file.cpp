// The file of a configuration store, as the daemon finds it at start: intact, damaged or forged.
#include "host/opal/store.h"

#include "fuzz/fuzz.h"
#include "tests/host/system/temporary_folder.h"

namespace {

constexpr const char *in_memory = "/dev/shm";

const opal::BlobView key = std::as_bytes(std::span("key"));
const opal::BlobView value = std::as_bytes(std::span("value"));

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  const TemporaryFolder folder(in_memory);
  const std::filesystem::path file = folder.path() / "store";
  {
    host::Result<opal::Store> store = opal::Store::create(file);
    must(store && store->write(key, value, true) && store->set_version(1, 0x100001), "a store can be made");
  }
  return {input_of_file(file)};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const TemporaryFolder folder(in_memory);
  const std::filesystem::path file = folder.path() / "store";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
  host::Result<opal::Store> store = opal::Store::open(file);
  fuzz::must(store.has_value() == (opal::rcode_of(store) == RCODE_SUCCESS),
             "a store is open, or there is a code");
  if (!store) return 0;
  (void)store->version(1);
  (void)store->fetch(key);
  store->rewind();
  for (int records = 0; records < 100 && store->next(); ++records) {
  }
  (void)store->write(key, value, true);
  (void)store->erase(key);
  (void)store->copy_to(folder.path() / "copy");
  return 0;
}
