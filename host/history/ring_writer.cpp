#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstring>

#include "host/history/ring_layout.h"

namespace opal::trace {
namespace {

std::uint64_t load_word(const char *bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, word_bytes);
  return word;
}

/// The last bytes of a text, fewer than a word, padded with zeros.
std::uint64_t last_word(std::string_view text, std::size_t count) {
  if (text.size() < word_bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), text.size());
    return word;
  }
  // Loads the last whole word of the text and shifts out the bytes before the wanted ones.
  const std::uint64_t word = load_word(text.data() + text.size() - word_bytes);
  const std::size_t foreign_bits = (word_bytes - count) * 8;
  return std::endian::native == std::endian::little ? word >> foreign_bits : word << foreign_bits;
}

/// Stores words one after the other.
class StraightWriter {
 public:
  explicit StraightWriter(std::uint64_t *start) : next_(start) {}
  template <class... Words>
  void put(Words... words) {
    (std::atomic_ref(*next_++).store(words, std::memory_order_relaxed), ...);
  }

 private:
  std::uint64_t *next_;
};

/// Stores words one after the other; continues at the beginning when it reaches the end.
class WrappingWriter {
 public:
  WrappingWriter(EventSpace events, std::uint64_t position) : events_(events), position_(position) {}
  template <class... Words>
  void put(Words... words) {
    (StraightWriter(events_.at(std::exchange(position_, position_ + word_bytes))).put(words), ...);
  }

 private:
  EventSpace events_;
  std::uint64_t position_;
};

/// Writes one event. Every value goes from its source to the ring in whole words. To read a word that was
/// just stored to memory in smaller pieces, the processor would wait for each piece, and delay the relayed
/// frame that is traced.
template <class Writer>
void write_event(Writer writer, std::uint64_t first_word, std::uint64_t sequence, std::int64_t time_ns,
                 std::string_view text) {
  constexpr std::size_t w = word_bytes;
  writer.put(first_word, sequence, static_cast<std::uint64_t>(time_ns));
  const char *next = text.data();
  std::size_t left = text.size();
  for (; left >= 4 * w; left -= 4 * w, next += 4 * w)
    writer.put(load_word(next), load_word(next + w), load_word(next + 2 * w), load_word(next + 3 * w));
  if (left >= 2 * w) {
    writer.put(load_word(next), load_word(next + w));
    left -= 2 * w, next += 2 * w;
  }
  if (left >= w) {
    writer.put(load_word(next));
    left -= w;
  }
  if (left > 0) writer.put(last_word(text, left));
}

[[gnu::cold, gnu::noinline]] void write_wrapping(EventSpace events, std::uint64_t position,
                                                 std::uint64_t first_word, std::uint64_t sequence,
                                                 std::int64_t time_ns, std::string_view text) {
  write_event(WrappingWriter(events, position), first_word, sequence, time_ns, text);
}

/// Checks the events that the last writer left. @return the next sequence number; nothing when damaged
std::optional<std::uint64_t> next_sequence_of(const RingMapping &mapping) {
  const std::uint64_t end = mapping.head();
  std::uint64_t position = mapping.tail();
  if (position > end || end - position > mapping.capacity() || position % word_bytes != 0 ||
      end % word_bytes != 0)
    return std::nullopt;
  std::optional<std::uint64_t> next;
  while (position < end) {
    const std::optional<EventHead> head = load_event_head(mapping.events(), position, end);
    if (!head || head->sequence != next.value_or(head->sequence)) return std::nullopt;
    next = head->sequence + 1;
    position += head->bytes();
  }
  return next.value_or(1);
}

/// Makes an empty ring under another name and renames it to the ring's name, so that a reader of the old
/// file never sees that file change.
host::Result<host::Descriptor> make_file(const std::filesystem::path &file, std::uint64_t capacity) {
  const std::filesystem::path fresh = file.native() + ".new";
  host::Descriptor descriptor(::open(fresh.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  const RingHead head{ring_magic, ring_version, capacity, 0, 0, {}};
  if (!descriptor || ftruncate(descriptor.get(), static_cast<off_t>(ring_head_bytes + capacity)) != 0 ||
      pwrite(descriptor.get(), &head, sizeof head, 0) != sizeof head ||
      flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0 || std::rename(fresh.c_str(), file.c_str()) != 0)
    return failed_call();
  return descriptor;
}

}  // namespace

RingWriter::RingWriter(RingMapping mapping, std::uint64_t next_sequence)
    : mapping_(std::move(mapping)),
      tail_(mapping_.tail()),
      head_(mapping_.head()),
      next_sequence_(next_sequence) {}

host::Result<RingWriter> RingWriter::open(const std::filesystem::path &file, std::size_t capacity) {
  capacity = std::bit_floor(capacity);
  if (capacity < ring_capacity_min)
    return host::failure("a trace history needs at least " + std::to_string(ring_capacity_min) + " bytes");
  mkdir(file.parent_path().c_str(), 0700);
  host::Descriptor old(::open(file.c_str(), O_RDWR | O_CLOEXEC));
  if (old && flock(old.get(), LOCK_EX | LOCK_NB) != 0)
    return host::failure("another process is writing this trace history");
  if (old) {
    host::Result<RingMapping> mapping = RingMapping::map(std::move(old), RingMapping::Access::write);
    if (mapping && mapping->capacity() == capacity) {
      if (const std::optional<std::uint64_t> next = next_sequence_of(*mapping))
        return RingWriter(std::move(*mapping), *next);
    }
  }
  host::Result<host::Descriptor> fresh = make_file(file, capacity);
  if (!fresh) return failed(std::move(fresh));
  host::Result<RingMapping> mapping = RingMapping::map(std::move(*fresh), RingMapping::Access::write);
  if (!mapping) return failed(std::move(mapping));
  return RingWriter(std::move(*mapping), 1);
}

void RingWriter::append(std::int64_t time_ns, std::uint32_t category, std::string_view text) noexcept {
  text = text.substr(0, ring_text_limit);
  const EventSpace events = mapping_.events();
  const auto length = static_cast<std::uint32_t>(text.size());
  const std::uint64_t start = head_;
  const std::uint64_t bytes = event_bytes(length);
  const std::uint64_t end = start + bytes;
  while (end - tail_ > events.capacity()) {
    const std::uint64_t oldest = event_bytes(load_text_length(events, tail_));
    // An event is unreadable here only when something else wrote to the file; then all events are dropped.
    tail_ = std::min(tail_ + oldest, start);
  }
  mapping_.set_tail(tail_);
  const std::uint64_t first_word = word_of(length, category);
  const std::uint64_t sequence = next_sequence_++;
  if (events.is_straight(start, bytes)) [[likely]] {
    write_event(StraightWriter(events.at(start)), first_word, sequence, time_ns, text);
  } else {
    write_wrapping(events, start, first_word, sequence, time_ns, text);
  }
  head_ = end;
  mapping_.set_head(end);
}

}  // namespace opal::trace
