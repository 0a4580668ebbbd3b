// Writes a target's seeds to the folder in FUZZ_SEEDS, from which the fuzzer reads them.
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  const char *folder = std::getenv("FUZZ_SEEDS");
  if (folder == nullptr) return 0;
  std::size_t number = 0;
  for (const fuzz::Input &seed : fuzz::seeds()) {
    std::ofstream file(std::filesystem::path(folder) / ("seed-" + std::to_string(number++)),
                       std::ios::binary);
    file.write(reinterpret_cast<const char *>(seed.data()), static_cast<std::streamsize>(seed.size()));
    fuzz::must(file.flush().good(), "a seed can be written");
  }
  std::exit(0);
}
