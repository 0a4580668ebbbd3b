/* Formats that are parsed at compile time: compares every format of the daemon with snprintf, with random
 * arguments. */
#include "tesk/tesk_format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <tuple>

namespace {

constexpr size_t buffer_bytes = 1024;
constexpr int runs_of_each_format = 4096;

/** Returns the same words in every run and on every machine. */
uint32_t random_word() {
  static uint64_t state = 0x9e3779b97f4a7c15;
  state ^= state << 13;
  state ^= state >> 7;
  state ^= state << 17;
  return static_cast<uint32_t>(state >> 32);
}

/** Returns numbers of all lengths, and boundary values. */
uint32_t random_number() {
  constexpr std::array<uint32_t, 10> edges = {0,     1,          9,          10,         9999,
                                              10000, 0x7fffffff, 0x80000000, 0xfffffffe, 0xffffffff};
  const uint32_t number = random_word();
  if (number % 4 == 0) return edges[random_word() % edges.size()];
  return number >> (random_word() % 32);
}

int32_t number() { return static_cast<int32_t>(random_number()); }
uint32_t unsigned_number() { return random_number(); }

/** Mostly as short as names; sometimes so long that any part of the message can be cut. */
const char *text() {
  static const std::string characters = [] {
    std::string all;
    for (size_t i = 0; i < 1200; ++i) all.push_back(static_cast<char>('!' + i * 7 % 94));
    return all;
  }();
  const uint32_t choice = random_word();
  if (choice % 64 == 0) return nullptr;
  const size_t length = choice % 8 == 0 ? random_word() % characters.size() : random_word() % 24;
  return characters.c_str() + (characters.size() - length);
}

std::string by_snprintf(size_t size, const char *format, ...) {
  std::array<char, buffer_bytes> buffer{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer.data(), size, format, arguments);
  va_end(arguments);
  return buffer.data();
}

template <tesk_format_text Format, class... Arguments>
::testing::AssertionResult same(size_t size, Arguments... arguments) {
  std::array<char, buffer_bytes + 1> buffer;
  buffer[size] = '#';
  const size_t length = tesk_format<Format>(buffer.data(), size, arguments...);
  const std::string expected = by_snprintf(size, Format.text, arguments...);
  if (buffer[size] != '#') return ::testing::AssertionFailure() << "wrote beyond " << size << " bytes";
  if (length == expected.size() && expected == buffer.data()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << Format.text << "\n  expected " << expected << "\n  actual   "
                                       << buffer.data() << "\n  length   " << length;
}

/** Mostly the size of the daemon's buffer; sometimes one that cuts the message anywhere. */
size_t random_size() { return random_word() % 8 == 0 ? 1 + random_word() % 128 : buffer_bytes; }

template <tesk_format_text Format, class Arguments>
void try_format(Arguments arguments) {
  for (int run = 0; run < runs_of_each_format; ++run) {
    const size_t size = random_size();
    ASSERT_TRUE(std::apply([size](auto... each) { return same<Format>(size, each...); }, arguments()));
  }
}

#define FORMAT(format, ...) try_format<format>([] { return std::tuple(__VA_ARGS__); });

TEST(Format, EveryFormatOfTheDaemonGivesWhatSnprintfGives){
#include "tests/unit/formats.inc"
}

TEST(Format, ShowsEveryNumberThatIsPutAtOnce) {
  for (int shown = 0; shown <= 10001; ++shown) {
    ASSERT_TRUE(same<"%d">(buffer_bytes, shown));
  }
}

TEST(Format, ShowsANameInAFieldOfEightBytes) {
  char buffer[64];
  for (const char *name : {"", "a", "abc", "four", "mgmt0", "device7"}) {
    char field[TESK_NAME_BYTES] = {};
    strcpy(field, name);
    EXPECT_EQ(tesk_format<"[%s]">(buffer, sizeof buffer, field), strlen(name) + 2);
    EXPECT_EQ(std::string(buffer), "[" + std::string(name) + "]");
  }
}

TEST(Format, FillsWithBlanksOrZeros) {
  char buffer[64];
  EXPECT_EQ(tesk_format<"%4x|%04x|%08x|%5u">(buffer, sizeof buffer, 0xabu, 0xabu, 0xabcdef01u, 7u), 24u);
  EXPECT_STREQ(buffer, "  ab|00ab|abcdef01|    7");
  EXPECT_EQ(tesk_format<"%4x|%4x|%4x|%05x">(buffer, sizeof buffer, 0u, 0x1000u, 0x12345u, 0x12u), 21u);
  EXPECT_STREQ(buffer, "   0|1000|12345|00012");
}

TEST(Format, PutsAPrefixBeforeAHexadecimalNumberButZero) {
  char buffer[64];
  tesk_format<"%#x %#x">(buffer, sizeof buffer, 0u, 0x1au);
  EXPECT_STREQ(buffer, "0 0x1a");
}

TEST(Format, CutsBeforeTheLastByteOfTheBuffer) {
  char buffer[8];
  EXPECT_EQ(tesk_format<"VLAN %d">(buffer, sizeof buffer, 4095), 7u);
  EXPECT_STREQ(buffer, "VLAN 40");
  EXPECT_EQ(tesk_format<"VLAN %d">(buffer, sizeof buffer, 10), 7u) << "just fits";
  EXPECT_STREQ(buffer, "VLAN 10");
}

TEST(Format, ShowsANullTextAsTheSystemDoes) {
  char buffer[16];
  tesk_format<"[%s]">(buffer, sizeof buffer, static_cast<const char *>(nullptr));
  EXPECT_STREQ(buffer, "[(null)]");
}

TEST(Conversion, NeedsTheRoomOfItsLongestNumberAndNoneForAText) {
  EXPECT_EQ(tesk_conversion_bytes(tesk_conversion_of("%s", 0)), 0u) << "a text is measured";
  EXPECT_EQ(tesk_conversion_bytes(tesk_conversion_of("%d", 0)), 11u);
  EXPECT_EQ(tesk_conversion_bytes(tesk_conversion_of("%08x", 0)), 11u);
  EXPECT_EQ(tesk_conversion_bytes(tesk_conversion_of("%12u", 0)), 12u);
}

}  // namespace
