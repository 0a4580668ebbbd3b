// A trace history in a memory-mapped file: one writer, any number of readers in other processes.
//
// The writer appends events without end; the newest overwrite the oldest. A reader never makes the
// writer wait and never sees half an event. It can read the same file while the writer runs, after the
// writer was killed at any instant, and after the next writer has reopened the file.
//
// The file is a head of 64 bytes and `capacity` bytes of event space, a power of two, numbers in host
// byte order:
//
//   head   0 magic "ring"   4 version 1   8 capacity   16 tail   24 head   32 zeros
//   event  0 text length    4 category    8 sequence   16 time in ns since 1970   24 text, zeros up to 8
//
// `tail` and `head` are positions that only grow. A position is at event space offset position %
// capacity; events wrap. The events from tail to head are complete. To append, the writer moves tail past
// the events that it will overwrite, writes the event at head, then moves head past it. A reader copies
// an event and then checks tail: if tail has passed the event in the meantime, it discards the copy.
// Sequence numbers are consecutive, so that a reader can count the events that it missed.
//
// A damaged or hostile file never causes an access outside the mapping.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/system/descriptor.h"
#include "host/system/failure.h"

namespace opal::trace {

/// Longest text of one event; longer ones are cut.
inline constexpr std::size_t ring_text_limit = 1024;
/// Smallest event space.
inline constexpr std::size_t ring_capacity_min = 4096;

struct Event {
  std::uint64_t sequence = 0;
  std::int64_t time_ns = 0;  ///< CLOCK_REALTIME
  std::uint32_t category = 0;
  std::string text;
};

/// The file of one identity's history in a run-time folder: `folder`/trace/UUID.ring.
std::filesystem::path ring_file(const std::filesystem::path &folder, std::uint32_t uuid);

/// The words of a ring's event space. Small enough to stay in registers while a writer stores words.
class EventSpace {
 public:
  EventSpace(std::uint64_t *words, std::uint64_t capacity) : words_(words), mask_(capacity - 1) {}
  std::uint64_t capacity() const { return mask_ + 1; }
  /// The word at a position, which is a multiple of 8.
  std::uint64_t *at(std::uint64_t position) const {
    return words_ + (position & mask_) / sizeof(std::uint64_t);
  }
  std::uint64_t load(std::uint64_t position) const {
    return std::atomic_ref(*at(position)).load(std::memory_order_relaxed);
  }
  /// Whether this many bytes from a position on are contiguous: they do not wrap.
  bool is_straight(std::uint64_t position, std::uint64_t bytes) const {
    return (position & mask_) + bytes <= capacity();
  }

 private:
  std::uint64_t *words_;
  std::uint64_t mask_;
};

/// The mapped file of a ring. The words of the head and the event space are read and written atomically,
/// so that a reader beside a writer is no data race.
class RingMapping {
 public:
  enum class Access { read, write };
  static host::Result<RingMapping> map(host::Descriptor file, Access access);
  RingMapping(RingMapping &&other) noexcept;
  RingMapping &operator=(RingMapping &&other) noexcept;
  ~RingMapping();

  std::uint64_t capacity() const { return capacity_; }
  std::uint64_t tail() const { return tail_word().load(std::memory_order_relaxed); }
  std::uint64_t head() const { return head_word().load(std::memory_order_acquire); }
  void set_tail(std::uint64_t position) {
    tail_word().store(position, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
  }
  void set_head(std::uint64_t position) { head_word().store(position, std::memory_order_release); }
  EventSpace events() const { return {&words_[event_space], capacity_}; }
  int fd() const { return file_.get(); }

 private:
  RingMapping(host::Descriptor file, std::span<std::uint64_t> words, std::uint64_t capacity)
      : file_(std::move(file)), words_(words), capacity_(capacity) {}
  static constexpr std::size_t event_space = 8;  ///< its first word
  using Word = std::atomic_ref<std::uint64_t>;
  Word tail_word() const { return Word(words_[2]); }
  Word head_word() const { return Word(words_[3]); }

  host::Descriptor file_;
  std::span<std::uint64_t> words_;
  std::uint64_t capacity_ = 0;
};

class RingWriter {
 public:
  /// Continues the ring at `file` where its last writer stopped, or makes a new one when there is none,
  /// it is damaged, or its size differs. Fails while another writer has it open.
  /// @param capacity bytes of event space, rounded down to a power of two, at least ring_capacity_min
  static host::Result<RingWriter> open(const std::filesystem::path &file, std::size_t capacity);

  /// Appends one event. No system call, no allocation, no lock.
  void append(std::int64_t time_ns, std::uint32_t category, std::string_view text) noexcept;

 private:
  RingWriter(RingMapping mapping, std::uint64_t next_sequence);
  RingMapping mapping_;
  std::uint64_t tail_;
  std::uint64_t head_;
  std::uint64_t next_sequence_;
};

class RingReader {
 public:
  static host::Result<RingReader> open(const std::filesystem::path &file);

  /// Events since the last call, oldest first; skips those overwritten in the meantime. When a new file
  /// has taken the ring's name, continues at the beginning of that file.
  std::vector<Event> read_new();

  /// Events that were overwritten before they were read, since open.
  std::uint64_t lost() const { return lost_; }

 private:
  RingReader(std::filesystem::path file, RingMapping mapping);
  void read_mapping(std::vector<Event> &events);
  bool follow_new_file();
  void count_missed(std::uint64_t sequence);
  std::filesystem::path file_;
  RingMapping mapping_;
  std::uint64_t position_;
  std::optional<std::uint64_t> next_sequence_;
  std::uint64_t lost_ = 0;
};

}  // namespace opal::trace
