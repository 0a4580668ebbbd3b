#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "host/history/ring_layout.h"

namespace opal::trace {
namespace {

/// @return the capacity in a file's head; nothing when the file is not a ring of this version
std::optional<std::uint64_t> capacity_of(int fd) {
  RingHead head{};
  struct stat status {};
  if (pread(fd, &head, sizeof head, 0) != sizeof head || fstat(fd, &status) != 0) return std::nullopt;
  const bool known = head.magic == ring_magic && head.version == ring_version;
  const bool sized =
      head.capacity >= ring_capacity_min && std::has_single_bit(head.capacity) &&
      status.st_size - static_cast<off_t>(ring_head_bytes) == static_cast<off_t>(head.capacity);
  if (!known || !sized) return std::nullopt;
  return head.capacity;
}

}  // namespace

std::filesystem::path ring_file(const std::filesystem::path &folder, std::uint32_t uuid) {
  return folder / "trace" / (std::to_string(uuid) + ".ring");
}

host::Result<RingMapping> RingMapping::map(host::Descriptor file, Access access) {
  const std::optional<std::uint64_t> capacity = capacity_of(file.get());
  if (!capacity) return host::failure("not a trace history");
  const std::size_t bytes = ring_head_bytes + *capacity;
  const int protection = access == Access::write ? PROT_READ | PROT_WRITE : PROT_READ;
  void *start = mmap(nullptr, bytes, protection, MAP_SHARED, file.get(), 0);
  if (start == MAP_FAILED) return failed_call();
  return RingMapping(std::move(file), {static_cast<std::uint64_t *>(start), bytes / word_bytes}, *capacity);
}

RingMapping::RingMapping(RingMapping &&other) noexcept
    : file_(std::move(other.file_)), words_(std::exchange(other.words_, {})), capacity_(other.capacity_) {}

RingMapping &RingMapping::operator=(RingMapping &&other) noexcept {
  std::swap(file_, other.file_);
  std::swap(words_, other.words_);
  std::swap(capacity_, other.capacity_);
  return *this;
}

RingMapping::~RingMapping() {
  if (!words_.empty()) munmap(words_.data(), words_.size_bytes());
}

}  // namespace opal::trace
