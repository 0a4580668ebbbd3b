// A trace ring that is read beside the running writer, and after the writer was killed.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "host/history/trace_ring.h"
#include "tests/host/system/temporary_folder.h"

namespace opal::trace {
namespace {

constexpr std::size_t writers_ring = ring_capacity_min;

/// A text that a reader can check: its number, then letters whose kind and count follow from the number.
std::string text_of(std::uint64_t sequence) {
  return std::to_string(sequence) + ":" + std::string(sequence % 97, static_cast<char>('a' + sequence % 26));
}

void expect_whole(const std::vector<Event> &events, std::uint64_t &last) {
  for (const Event &event : events) {
    ASSERT_GT(event.sequence, last);
    ASSERT_EQ(event.text, text_of(event.sequence));
    ASSERT_EQ(event.time_ns, static_cast<std::int64_t>(event.sequence * 3));
    ASSERT_EQ(event.category, 100 + event.sequence % 3);
    last = event.sequence;
  }
}

void append(RingWriter &ring, std::uint64_t sequence) {
  ring.append(static_cast<std::int64_t>(sequence * 3), static_cast<std::uint32_t>(100 + sequence % 3),
              text_of(sequence));
}

/// Appends without end, from `sequence` on.
[[noreturn]] void write_for_ever(const std::filesystem::path &file, std::uint64_t sequence) {
  host::Result<RingWriter> ring = RingWriter::open(file, writers_ring);
  if (!ring) _exit(1);
  for (;; ++sequence) append(*ring, sequence);
}

std::optional<RingReader> open_when_made(const std::filesystem::path &file) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < deadline)
    if (host::Result<RingReader> reader = RingReader::open(file)) return std::move(*reader);
  return std::nullopt;
}

TEST(RingProcess, AReaderBesideAFastWriterSeesOnlyWholeEventsInOrder) {
  const TemporaryFolder folder;
  const std::filesystem::path file = ring_file(folder.path(), 115);
  const pid_t writer = fork();
  if (writer == 0) write_for_ever(file, 1);
  std::optional<RingReader> reader = open_when_made(file);
  ASSERT_TRUE(reader);
  std::uint64_t last = 0;
  std::size_t seen = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (seen < 50'000 && std::chrono::steady_clock::now() < deadline && !testing::Test::HasFatalFailure()) {
    const std::vector<Event> events = reader->read_new();
    seen += events.size();
    expect_whole(events, last);
  }
  kill(writer, SIGKILL);
  waitpid(writer, nullptr, 0);
  EXPECT_GE(seen, 50'000u);
  EXPECT_GT(last, seen) << "the writer never overtook the reader";
}

TEST(RingProcess, KilledAtAnyInstantTheHistoryIsWholeAndGoesOn) {
  const TemporaryFolder folder;
  const std::filesystem::path file = ring_file(folder.path(), 115);
  std::mt19937 random(20250101);
  std::uint64_t next = 1;
  for (int round = 0; round < 60 && !testing::Test::HasFatalFailure(); ++round) {
    const pid_t writer = fork();
    if (writer == 0) write_for_ever(file, next);
    // The instant does not matter; the writer is at work once its first event can be read.
    std::optional<RingReader> reader = open_when_made(file);
    ASSERT_TRUE(reader);
    std::uint64_t last = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (last < next && std::chrono::steady_clock::now() < deadline) expect_whole(reader->read_new(), last);
    for (unsigned long spin = random() % 20'000; spin > 0; --spin)
      std::atomic_signal_fence(std::memory_order_seq_cst);
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer could not reopen the ring";
    host::Result<RingReader> after = RingReader::open(file);
    ASSERT_TRUE(after) << after.error().what;
    const std::vector<Event> events = after->read_new();
    ASSERT_FALSE(events.empty());
    last = 0;
    expect_whole(events, last);
    next = last + 1;
  }
}

}  // namespace
}  // namespace opal::trace
