#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "host/history/trace_ring.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace opal::trace {
namespace {

using host::test::sentence_of;

constexpr std::size_t small_ring = ring_capacity_min;

class RingTest : public testing::Test {
 protected:
  RingWriter writer(std::size_t capacity = small_ring) {
    host::Result<RingWriter> opened = RingWriter::open(file_, capacity);
    EXPECT_TRUE(opened) << opened.error().what;
    return std::move(*opened);
  }
  RingReader reader() {
    host::Result<RingReader> opened = RingReader::open(file_);
    EXPECT_TRUE(opened) << opened.error().what;
    return std::move(*opened);
  }
  std::string content() const {
    std::ifstream stream(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void overwrite(std::size_t offset, const std::string &bytes) const {
    const host::Descriptor descriptor(open(file_.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(pwrite(descriptor.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(bytes.size()));
  }
  static std::vector<std::string> texts(const std::vector<Event> &events) {
    std::vector<std::string> result;
    for (const Event &event : events) result.push_back(event.text);
    return result;
  }
  TemporaryFolder folder_;
  std::filesystem::path file_ = ring_file(folder_.path(), 115);
};

using Texts = std::vector<std::string>;

TEST_F(RingTest, LiesInTheFileAsDescribed) {
  EXPECT_EQ(file_, folder_.path() / "trace" / "115.ring");
  writer().append(0x0102030405060708, 101, "up 5 ports");
  const std::string bytes = content();
  ASSERT_EQ(bytes.size(), 64 + small_ring);
  const std::string head(
      "ring\1\0\0\0"
      "\0\x10\0\0\0\0\0\0"
      "\0\0\0\0\0\0\0\0"
      "\x28\0\0\0\0\0\0\0",
      32);
  EXPECT_EQ(bytes.substr(0, 32), head);
  const std::string event(
      "\x0a\0\0\0"
      "\x65\0\0\0"
      "\1\0\0\0\0\0\0\0"
      "\x08\7\6\5\4\3\2\1"
      "up 5 ports\0\0\0\0\0\0",
      40);
  EXPECT_EQ(bytes.substr(64, 40), event);
}

TEST_F(RingTest, AReaderSeesEveryEventOnce) {
  RingWriter ring = writer();
  ring.append(1000, 100, "one");
  RingReader follower = reader();
  const std::vector<Event> first = follower.read_new();
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(first[0].sequence, 1u);
  EXPECT_EQ(first[0].time_ns, 1000);
  EXPECT_EQ(first[0].category, 100u);
  EXPECT_EQ(first[0].text, "one");
  EXPECT_TRUE(follower.read_new().empty());
  ring.append(1001, 101, "");
  ring.append(1002, 102, "three\n");
  EXPECT_EQ(texts(follower.read_new()), (Texts{"", "three\n"}));
  EXPECT_EQ(follower.lost(), 0u);
}

TEST_F(RingTest, TheOldestEventsMakeRoomAndAreCountedAsLost) {
  RingWriter ring = writer();
  ring.append(0, 100, "first");
  RingReader follower = reader();
  EXPECT_EQ(follower.read_new().size(), 1u);
  for (int number = 2; number <= 1000; ++number) ring.append(number, 100, "event " + std::to_string(number));
  const std::vector<Event> kept = follower.read_new();
  ASSERT_FALSE(kept.empty());
  EXPECT_GT(kept.size(), small_ring / 48);
  EXPECT_EQ(kept.back().text, "event 1000");
  for (const Event &event : kept) EXPECT_EQ(event.text, "event " + std::to_string(event.sequence));
  EXPECT_EQ(follower.lost() + kept.size(), 999u);
}

TEST_F(RingTest, EventsOfEveryLengthWrapWhole) {
  RingWriter ring = writer();
  RingReader follower = reader();
  for (std::size_t length = 0; length <= ring_text_limit; ++length) {
    const std::string text(length, static_cast<char>('a' + length % 26));
    ring.append(static_cast<std::int64_t>(length), 102, text);
    EXPECT_EQ(texts(follower.read_new()), Texts{text});
  }
  ring.append(0, 102, std::string(ring_text_limit + 1, 'z'));
  EXPECT_EQ(follower.read_new()[0].text.size(), ring_text_limit);
}

TEST_F(RingTest, TheNextWriterContinuesTheHistory) {
  writer().append(1, 100, "before");
  writer().append(2, 100, "after");
  const std::vector<Event> events = reader().read_new();
  EXPECT_EQ(texts(events), (Texts{"before", "after"}));
  EXPECT_EQ(events[1].sequence, 2u);
}

TEST_F(RingTest, OneWriterAtATime) {
  const RingWriter ring = writer();
  EXPECT_EQ(sentence_of(RingWriter::open(file_, small_ring)),
            "another process is writing this trace history");
}

TEST_F(RingTest, AnotherSizeMakesANewRingWhichTheReaderFollows) {
  writer().append(1, 100, "small");
  RingReader follower = reader();
  writer(0x10000).append(2, 100, "large");
  EXPECT_EQ(texts(follower.read_new()), (Texts{"small", "large"}));
  EXPECT_EQ(content().size(), 64u + 0x10000);
}

TEST_F(RingTest, RefusesATooSmallSpace) {
  EXPECT_EQ(sentence_of(RingWriter::open(file_, small_ring - 1)),
            "a trace history needs at least 4096 bytes");
}

TEST_F(RingTest, AMissingOrForeignFileIsRefusedWithASentence) {
  EXPECT_EQ(sentence_of(RingReader::open(file_)),
            "cannot open trace history " + file_.string() + ": No such file or directory");
  std::filesystem::create_directory(file_.parent_path());
  std::ofstream(file_) << "something else";
  EXPECT_EQ(sentence_of(RingReader::open(file_)),
            "cannot read trace history " + file_.string() + ": not a trace history");
}

struct Damage {
  const char *what;
  std::size_t offset;
  std::string bytes;
};

class DamagedRingTest : public RingTest, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedRingTest, IsReadWithoutHarmAndMadeAnewByTheNextWriter) {
  {
    RingWriter ring = writer();
    for (int number = 0; number < 200; ++number) ring.append(number, 100, "an event before the damage");
  }
  overwrite(GetParam().offset, GetParam().bytes);
  if (host::Result<RingReader> survivor = RingReader::open(file_)) survivor->read_new();
  writer().append(1, 100, "new");
  EXPECT_EQ(texts(reader().read_new()), Texts{"new"});
}

INSTANTIATE_TEST_SUITE_P(Words, DamagedRingTest,
                         testing::Values(Damage{"Magic", 0, "x"}, Damage{"Version", 4, "\2"},
                                         Damage{"Capacity", 9, "\x7f"}, Damage{"TailBehindHead", 18, "\x7f"},
                                         Damage{"TailBetweenEvents", 16, "\x04"},
                                         Damage{"HeadFarAhead", 30, "\x7f"},
                                         Damage{"HeadBeforeTail", 24, std::string(8, '\0')},
                                         Damage{"EverythingElse", 64, std::string(small_ring, '\xff')}),
                         [](const auto &instance) { return instance.param.what; });

TEST_F(RingTest, AHeadFarAheadDoesNotLeadRoundAndRound) {
  {
    RingWriter ring = writer();
    for (std::size_t number = 0; number < small_ring / 32; ++number) ring.append(1, 100, "32 bytes");
  }
  overwrite(24 + 3, "\x01");
  EXPECT_TRUE(reader().read_new().empty());
}

TEST_F(RingTest, AWriterStaysInsideAFileThatIsDamagedUnderItsHands) {
  RingWriter ring = writer();
  for (int number = 0; number < 200; ++number) ring.append(number, 100, "before");
  overwrite(64, std::string(small_ring, '\xff'));
  for (int number = 0; number < 200; ++number) ring.append(number, 100, "after");
  const std::vector<Event> events = reader().read_new();
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.back().text, "after");
}

}  // namespace
}  // namespace opal::trace
