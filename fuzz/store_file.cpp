// A configuration store's file, as the daemon finds it at start: whole, damaged or made up.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/fuzz.h"
#include "host/opal/store.h"

namespace {

/// A folder in memory, for as long as the program lives.
class Folder {
 public:
  Folder() { fuzz::must(mkdtemp(name_) != nullptr, "there is a folder for the store"); }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  ~Folder() { std::filesystem::remove_all(name_); }
  std::filesystem::path file() const { return std::filesystem::path(name_) / "store"; }
  std::filesystem::path copy() const { return std::filesystem::path(name_) / "copy"; }

 private:
  char name_[32] = "/dev/shm/fuzz-store-XXXXXX";
};

const opal::BlobView key = std::as_bytes(std::span("key"));
const opal::BlobView value = std::as_bytes(std::span("value"));

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  const Folder folder;
  rcode_t rcode = 0;
  {
    std::optional<opal::Store> store = opal::Store::create(folder.file(), rcode);
    must(store && store->write(key, value, true) == RCODE_SUCCESS &&
             store->set_version(1, 0x100001) == RCODE_SUCCESS,
         "a store can be made");
  }
  std::ifstream stream(folder.file(), std::ios::binary);
  return {input_of(std::string(std::istreambuf_iterator<char>(stream), {}))};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const Folder folder;
  std::ofstream(folder.file(), std::ios::binary)
      .write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
  rcode_t rcode = RCODE_SUCCESS;
  std::optional<opal::Store> store = opal::Store::open(folder.file(), rcode);
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
  (void)store->copy_to(folder.copy());
  return 0;
}
