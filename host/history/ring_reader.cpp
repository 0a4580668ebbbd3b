#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "host/history/ring_layout.h"

namespace opal::trace {
namespace {

std::string load_text(EventSpace events, std::uint64_t position, std::size_t length) {
  std::string text(length, '\0');
  for (std::size_t offset = 0; offset < length; offset += word_bytes) {
    const std::uint64_t word = events.load(position + offset);
    std::memcpy(text.data() + offset, &word, std::min(word_bytes, length - offset));
  }
  return text;
}

host::Result<RingMapping> map_file(const std::filesystem::path &file) {
  host::Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!descriptor) return host::errno_failure("cannot open trace history " + file.native());
  host::Result<RingMapping> mapping = RingMapping::map(std::move(descriptor), RingMapping::Access::read);
  if (!mapping)
    mapping.error().what = "cannot read trace history " + file.native() + ": " + mapping.error().what;
  return mapping;
}

bool names_same_file(const std::filesystem::path &file, int fd) {
  struct stat named {};
  struct stat mapped {};
  return stat(file.c_str(), &named) == 0 && fstat(fd, &mapped) == 0 && named.st_ino == mapped.st_ino &&
         named.st_dev == mapped.st_dev;
}

}  // namespace

RingReader::RingReader(std::filesystem::path file, RingMapping mapping)
    : file_(std::move(file)), mapping_(std::move(mapping)), position_(mapping_.tail()) {}

host::Result<RingReader> RingReader::open(const std::filesystem::path &file) {
  host::Result<RingMapping> mapping = map_file(file);
  if (!mapping) return failed(std::move(mapping));
  return RingReader(file, std::move(*mapping));
}

bool RingReader::follow_new_file() {
  if (names_same_file(file_, mapping_.fd())) return false;
  host::Result<RingMapping> fresh = map_file(file_);
  if (!fresh) return false;
  mapping_ = std::move(*fresh);
  position_ = mapping_.tail();
  next_sequence_.reset();
  return true;
}

void RingReader::count_missed(std::uint64_t sequence) {
  if (next_sequence_ && sequence > *next_sequence_) lost_ += sequence - *next_sequence_;
  next_sequence_ = sequence + 1;
}

void RingReader::read_mapping(std::vector<Event> &events) {
  const std::uint64_t end = mapping_.head();
  while (position_ < end) {
    position_ = std::max(position_, mapping_.tail());
    // With a damaged head, the reader would read the same events again and again.
    const bool fits = end - position_ <= mapping_.capacity();
    const std::optional<EventHead> head =
        fits ? load_event_head(mapping_.events(), position_, end) : std::nullopt;
    std::string text =
        head ? load_text(mapping_.events(), position_ + event_head_bytes, head->text_length) : std::string();
    std::atomic_thread_fence(std::memory_order_acquire);
    if (mapping_.tail() > position_) continue;
    if (!head) {
      position_ = std::max(position_, end);
      return;
    }
    position_ += head->bytes();
    count_missed(head->sequence);
    events.push_back({head->sequence, head->time_ns, head->category, std::move(text)});
  }
}

std::vector<Event> RingReader::read_new() {
  std::vector<Event> events;
  read_mapping(events);
  if (follow_new_file()) read_mapping(events);
  return events;
}

}  // namespace opal::trace
