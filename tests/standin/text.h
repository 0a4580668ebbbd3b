/* How arguments appear in the record.
 *
 * Every value that the daemon passes to the platform is written in one way, so that a test can spell the
 * line that it expects: numbers in decimal, numbers that people read in hex as 0x…, texts in single
 * quotes, null pointers as null. A std::string is text that is already formatted and stays as it is.
 * Nothing here depends on the byte order or the word size of the machine. */
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace standin {

/** A number to show in hex. */
struct Hex {
  uint64_t value;
};

template <std::integral Number>
Hex hex(Number number) {
  return {static_cast<std::make_unsigned_t<Number>>(number)};
}

std::string shown(const char *text);
std::string shown(const std::string &formatted);
std::string shown(Hex number);

template <std::integral Number>
std::string shown(Number number) {
  return std::to_string(number);
}

/** Bytes as quoted text if all are printable, else as "20 zero bytes" or as hex pairs. */
std::string shown_bytes(const void *bytes, size_t length);

/** The set bits of a bit set, "{2 3}". */
std::string shown_bits(const void *bitset);

/** The text with line ends and other unprintable characters escaped. */
std::string escaped(std::string_view text);

}  // namespace standin
