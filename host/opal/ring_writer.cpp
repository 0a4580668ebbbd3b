#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstring>

#include "host/opal/ring_layout.h"

namespace opal::trace {
namespace {

/// Walks what the last writer left. @return the sequence number to go on with; nothing when damaged
std::optional<std::uint64_t> next_sequence_of(const RingMapping &mapping) {
  const std::uint64_t end = mapping.head();
  std::uint64_t position = mapping.tail();
  if (position > end || end - position > mapping.capacity() || position % word_bytes != 0 ||
      end % word_bytes != 0)
    return std::nullopt;
  std::optional<std::uint64_t> next;
  while (position < end) {
    const std::optional<EventHead> head = load_event_head(mapping, position, end);
    if (!head || head->sequence != next.value_or(head->sequence)) return std::nullopt;
    next = head->sequence + 1;
    position += head->bytes();
  }
  return next.value_or(1);
}

/// Makes an empty ring under another name and gives it the ring's own, so that a reader of the old file
/// never finds it changed under its hands.
bus::Descriptor make_file(const std::filesystem::path &file, std::uint64_t capacity, std::string &why) {
  const std::filesystem::path fresh = file.native() + ".new";
  bus::Descriptor descriptor(::open(fresh.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  const RingHead head{ring_magic, ring_version, capacity, 0, 0, {}};
  if (!descriptor || ftruncate(descriptor.get(), static_cast<off_t>(ring_head_bytes + capacity)) != 0 ||
      pwrite(descriptor.get(), &head, sizeof head, 0) != sizeof head ||
      flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0 || std::rename(fresh.c_str(), file.c_str()) != 0) {
    why = std::strerror(errno);
    return bus::Descriptor();
  }
  return descriptor;
}

}  // namespace

RingWriter::RingWriter(RingMapping mapping, std::uint64_t next_sequence)
    : mapping_(std::move(mapping)),
      tail_(mapping_.tail()),
      head_(mapping_.head()),
      next_sequence_(next_sequence) {}

std::optional<RingWriter> RingWriter::open(const std::filesystem::path &file, std::size_t capacity,
                                           std::string &why) {
  capacity = std::bit_floor(capacity);
  if (capacity < ring_capacity_min) {
    why = "a trace history takes at least " + std::to_string(ring_capacity_min) + " bytes";
    return std::nullopt;
  }
  mkdir(file.parent_path().c_str(), 0700);
  bus::Descriptor old(::open(file.c_str(), O_RDWR | O_CLOEXEC));
  if (old && flock(old.get(), LOCK_EX | LOCK_NB) != 0) {
    why = "another process writes this trace history";
    return std::nullopt;
  }
  if (old) {
    std::optional<RingMapping> mapping = RingMapping::map(std::move(old), RingMapping::Access::write, why);
    if (mapping && mapping->capacity() == capacity)
      if (const std::optional<std::uint64_t> next = next_sequence_of(*mapping))
        return RingWriter(std::move(*mapping), *next);
  }
  bus::Descriptor fresh = make_file(file, capacity, why);
  if (!fresh) return std::nullopt;
  std::optional<RingMapping> mapping = RingMapping::map(std::move(fresh), RingMapping::Access::write, why);
  if (!mapping) return std::nullopt;
  return RingWriter(std::move(*mapping), 1);
}

void RingWriter::make_room(std::uint64_t end) noexcept {
  if (end - tail_ <= mapping_.capacity()) return;
  while (end - tail_ > mapping_.capacity()) {
    const std::optional<EventHead> oldest = load_event_head(mapping_, tail_, head_);
    // Only a stranger's hand in the file makes an event unreadable here; then all of them go.
    tail_ = oldest ? tail_ + oldest->bytes() : head_;
  }
  mapping_.set_tail(tail_);
}

void RingWriter::append(std::int64_t time_ns, std::uint32_t category, std::string_view text) noexcept {
  text = text.substr(0, ring_text_limit);
  const EventHead head{static_cast<std::uint32_t>(text.size()), category, next_sequence_++, time_ns};
  make_room(head_ + head.bytes());
  WordWriter writer = mapping_.writer_at(head_);
  for (const std::uint64_t word :
       std::bit_cast<std::array<std::uint64_t, event_head_bytes / word_bytes>>(head))
    writer.put(word);
  // Whole words apart from the last one, so that each is one load and not a call to memcpy.
  const std::size_t whole = text.size() / word_bytes * word_bytes;
  std::uint64_t word = 0;
  for (std::size_t offset = 0; offset < whole; offset += word_bytes) {
    std::memcpy(&word, text.data() + offset, word_bytes);
    writer.put(word);
  }
  if (whole < text.size()) {
    word = 0;
    std::memcpy(&word, text.data() + whole, text.size() - whole);
    writer.put(word);
  }
  head_ += head.bytes();
  mapping_.set_head(head_);
}

}  // namespace opal::trace
