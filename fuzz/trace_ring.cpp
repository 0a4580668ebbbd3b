// The file of a trace history, as a reader finds it: intact, damaged or forged.
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/fuzz.h"
#include "host/history/trace_ring.h"
#include "tests/host/system/temporary_folder.h"

namespace {

namespace trace = opal::trace;

/// A file in memory without a name; it can be opened as `path`.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("ring", MFD_CLOEXEC)) {}
  std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(descriptor_.get()); }
  void hold(const std::uint8_t *data, std::size_t size) const {
    fuzz::must(ftruncate(descriptor_.get(), 0) == 0 &&
                   pwrite(descriptor_.get(), data, size, 0) == static_cast<ssize_t>(size),
               "memory holds the file");
  }

 private:
  host::Descriptor descriptor_;
};

}  // namespace

std::vector<fuzz::Input> fuzz::seeds() {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "ring";
  {
    host::Result<trace::RingWriter> writer = trace::RingWriter::open(file, trace::ring_capacity_min);
    must(writer.has_value(), "a ring can be made");
    for (std::uint32_t i = 0; i < 100; ++i) writer->append(i, i % 3, std::string(i, 'x'));
  }
  return {input_of_file(file)};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const MemoryFile file;
  file.hold(data, size);
  host::Result<trace::RingReader> reader = trace::RingReader::open(file.path());
  if (!reader) {
    fuzz::must(!reader.error().what.empty(), "a refusal says why");
    return 0;
  }
  for (const trace::Event &event : reader->read_new())
    fuzz::must(event.text.size() <= trace::ring_text_limit, "a text has its limit");
  return 0;
}
