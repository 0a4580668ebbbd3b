// The layout of an event in a trace ring's event space, shared by the ring's writer and reader. The table
// is in trace_ring.h.
#pragma once

#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "host/history/trace_ring.h"

namespace opal::trace {

inline constexpr std::uint32_t ring_magic = 0x676e6972;  // "ring"
inline constexpr std::uint32_t ring_version = 1;
inline constexpr std::size_t ring_head_bytes = 64;
inline constexpr std::size_t event_head_bytes = 24;
inline constexpr std::size_t word_bytes = sizeof(std::uint64_t);

struct RingHead {
  std::uint32_t magic;
  std::uint32_t version;
  std::uint64_t capacity;
  std::uint64_t tail;
  std::uint64_t head;
  std::uint64_t zeros[4];
};
// Words 2, 3 and 8 of the mapping are tail, head and the first of the event space.
static_assert(offsetof(RingHead, tail) == 2 * word_bytes && offsetof(RingHead, head) == 3 * word_bytes);
static_assert(sizeof(RingHead) == ring_head_bytes && ring_head_bytes == 8 * word_bytes);

/// Bytes that an event with a text of this length takes in the event space.
constexpr std::uint64_t event_bytes(std::uint32_t text_length) {
  return event_head_bytes + (std::uint64_t{text_length} + word_bytes - 1) / word_bytes * word_bytes;
}

struct EventHead {
  std::uint32_t text_length = 0;
  std::uint32_t category = 0;
  std::uint64_t sequence = 0;
  std::int64_t time_ns = 0;

  std::uint64_t bytes() const { return event_bytes(text_length); }
};
static_assert(sizeof(EventHead) == event_head_bytes);

/// The first word of an event.
constexpr std::uint64_t word_of(std::uint32_t text_length, std::uint32_t category) {
  return std::endian::native == std::endian::little ? std::uint64_t{category} << 32 | text_length
                                                    : std::uint64_t{text_length} << 32 | category;
}

/// Reads the text length of the event at `position`; checks nothing.
inline std::uint32_t load_text_length(EventSpace events, std::uint64_t position) {
  return std::bit_cast<std::array<std::uint32_t, 2>>(events.load(position))[0];
}

/// @return the head of the event at `position`; nothing when an event with this head would not end by `end`
inline std::optional<EventHead> load_event_head(EventSpace events, std::uint64_t position,
                                                std::uint64_t end) {
  if (end < position || end - position < event_head_bytes) return std::nullopt;
  const std::array<std::uint64_t, event_head_bytes / word_bytes> words{
      events.load(position), events.load(position + word_bytes), events.load(position + 2 * word_bytes)};
  const auto head = std::bit_cast<EventHead>(words);
  if (head.text_length > ring_text_limit || head.bytes() > end - position) return std::nullopt;
  return head;
}

/// The failure of a system call. Its sentence is only the text of the cause; the caller adds the file's name.
inline host::Failed failed_call() {
  const std::error_code cause = host::errno_cause(errno);
  return host::failure(cause, cause.message());
}

}  // namespace opal::trace
