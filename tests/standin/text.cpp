#include "tests/standin/text.h"

#include <algorithm>
#include <cstdio>
#include <span>

#include "opal/bitset.h"

namespace standin {

namespace {

bool is_printable(uint8_t byte) { return byte >= 0x20 && byte < 0x7f; }

std::string hex_pairs(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

}  // namespace

std::string shown(const char *text) { return text == nullptr ? "null" : "'" + std::string(text) + "'"; }

std::string shown(const std::string &formatted) { return formatted; }

std::string shown(Hex number) {
  char text[20];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number.value));
  return text;
}

std::string shown_bytes(const void *bytes, size_t length) {
  if (length == 0) return "''";
  const std::span<const uint8_t> span(static_cast<const uint8_t *>(bytes), length);
  if (std::ranges::all_of(span, is_printable)) return "'" + std::string(span.begin(), span.end()) + "'";
  if (std::ranges::all_of(span, [](uint8_t byte) { return byte == 0; }))
    return std::to_string(length) + " zero bytes";
  return hex_pairs(span);
}

std::string shown_bits(const void *bitset) {
  std::string text;
  for (int32_t bit = bitset_first_bit(bitset); bit >= 0; bit = bitset_next_bit(bitset, bit)) {
    if (!text.empty()) text += ' ';
    text += std::to_string(bit);
  }
  return "{" + text + "}";
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character == '\n')
      result += "\\n";
    else if (character == '\r')
      result += "\\r";
    else if (is_printable(static_cast<uint8_t>(character)))
      result += character;
    else
      result += "\\x" + hex_pairs(std::span(reinterpret_cast<const uint8_t *>(&character), 1));
  }
  return result;
}

}  // namespace standin
