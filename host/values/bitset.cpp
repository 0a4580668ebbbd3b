#include "opal/bitset.h"

#include <stdio.h>
#include <string.h>

namespace {

/// Every bit set begins with its size word; the bytes of bits follow.
constexpr size_t bits_offset = sizeof(int32_t);
constexpr uint32_t bits_per_byte = 8;

uint32_t byte_count(const void *bitset) {
  int32_t size = 0;
  memcpy(&size, bitset, sizeof size);
  return size > 0 ? static_cast<uint32_t>(size) : 0;
}

uint8_t *bytes_of(void *bitset) { return static_cast<uint8_t *>(bitset) + bits_offset; }
const uint8_t *bytes_of(const void *bitset) { return static_cast<const uint8_t *>(bitset) + bits_offset; }

uint8_t mask_of(uint32_t bit) { return static_cast<uint8_t>(1u << (bit % bits_per_byte)); }

/// @return the lowest set bit at or above `bit`, -1 when there is none
int64_t set_bit_from(const void *bitset, uint64_t bit) {
  const uint8_t *bytes = bytes_of(bitset);
  const uint64_t end = uint64_t{byte_count(bitset)} * bits_per_byte;
  while (bit < end) {
    const unsigned rest = static_cast<unsigned>(bytes[bit / bits_per_byte]) >> (bit % bits_per_byte);
    if (rest != 0) return static_cast<int64_t>(bit) + __builtin_ctz(rest);
    bit = (bit / bits_per_byte + 1) * bits_per_byte;
  }
  return -1;
}

/// Where bitset_snprintf continues.
uint64_t print_position = 0;

/// Prints one range, a comma before it unless it is the first. @return characters
int print_range(char *text, size_t size, bool comma, uint64_t lower, uint64_t upper) {
  const char *separator = comma ? "," : "";
  const auto first = static_cast<unsigned long long>(lower);
  const auto last = static_cast<unsigned long long>(upper);
  return lower == upper ? snprintf(text, size, "%s%llu", separator, first)
                        : snprintf(text, size, "%s%llu-%llu", separator, first, last);
}

}  // namespace

void bitset_clear(void *bitset) { memset(bytes_of(bitset), 0, byte_count(bitset)); }

void bitset_set_bit(void *bitset, uint32_t bit) {
  if (bit / bits_per_byte >= byte_count(bitset)) return;
  uint8_t &byte = bytes_of(bitset)[bit / bits_per_byte];
  byte = static_cast<uint8_t>(byte | mask_of(bit));
}

void bitset_clear_bit(void *bitset, uint32_t bit) {
  if (bit / bits_per_byte >= byte_count(bitset)) return;
  uint8_t &byte = bytes_of(bitset)[bit / bits_per_byte];
  byte = static_cast<uint8_t>(byte & ~mask_of(bit));
}

int bitset_is_bit_set(const void *bitset, uint32_t bit) {
  if (bit / bits_per_byte >= byte_count(bitset)) return 0;
  return (bytes_of(bitset)[bit / bits_per_byte] & mask_of(bit)) != 0 ? 1 : 0;
}

int32_t bitset_first_bit(const void *bitset) { return static_cast<int32_t>(set_bit_from(bitset, 0)); }

int32_t bitset_next_bit(const void *bitset, int32_t bit) {
  return static_cast<int32_t>(set_bit_from(bitset, bit < 0 ? 0 : static_cast<uint64_t>(bit) + 1));
}

int bitset_is_range_free(const void *bitset, uint32_t first, uint32_t last) {
  const int64_t found = set_bit_from(bitset, first);
  return found < 0 || found > int64_t{last} ? 1 : 0;
}

void bitset_copy(void *destination, const void *source) {
  const uint32_t room = byte_count(destination);
  const uint32_t given = byte_count(source);
  const uint32_t common = room < given ? room : given;
  memmove(bytes_of(destination), bytes_of(source), common);
  memset(bytes_of(destination) + common, 0, room - common);
}

int bitset_snprintf(char *buffer, size_t size, const void *bitset, int first, int *done) {
  if (first) print_position = 0;
  const bool starts_text = print_position == 0;
  size_t length = 0;
  if (size > 0) buffer[0] = '\0';
  *done = 1;
  for (int64_t lower; (lower = set_bit_from(bitset, print_position)) >= 0;) {
    auto upper = static_cast<uint64_t>(lower);
    while (upper + 1 <= UINT32_MAX && bitset_is_bit_set(bitset, static_cast<uint32_t>(upper + 1))) ++upper;
    const bool comma = length > 0 || !starts_text;
    const int printed =
        print_range(buffer + length, size - length, comma, static_cast<uint64_t>(lower), upper);
    if (printed < 0 || static_cast<size_t>(printed) >= size - length) {
      if (size > 0) buffer[length] = '\0';
      // A range that no chunk of this size can hold ends the rendering.
      *done = length == 0 ? 1 : 0;
      break;
    }
    length += static_cast<size_t>(printed);
    print_position = upper + 1;
  }
  return static_cast<int>(length);
}
