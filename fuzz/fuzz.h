// What every fuzz target of this folder provides, besides libFuzzer's LLVMFuzzerTestOneInput.
//
// A target passes bytes to one of the system's entry points for bytes from outside. It fails if a sanitizer
// reports an error, if a check aborts (`must`), or if an input exceeds the time limit. It never fails because
// bytes are refused.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

namespace fuzz {

using Input = std::vector<std::uint8_t>;

/// Inputs to begin with: bytes that a correct sender sends. Each target defines this function.
std::vector<Input> seeds();

/// Aborts the program if `kept` is false, so that the fuzzer keeps the input that broke the promise.
inline void must(bool kept, const char *promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

/// Reads every byte, so that a sanitizer detects one that is out of bounds.
inline void read_all(const void *start, std::size_t size) {
  static volatile unsigned char seen;
  for (std::size_t i = 0; i < size; ++i) seen = static_cast<const unsigned char *>(start)[i];
}

inline std::span<const std::byte> bytes(const std::uint8_t *data, std::size_t size) {
  return std::as_bytes(std::span(data, size));
}

/// Splits an input into parts, front to back. Where it is too short, numbers are filled with zeros and byte
/// sequences are shorter.
class Parts {
 public:
  Parts(const std::uint8_t *data, std::size_t size) : rest_(data, size) {}
  bool at_end() const { return rest_.empty(); }

  template <typename Number>
  Number number() {
    std::array<std::uint8_t, sizeof(Number)> lies{};
    std::ranges::copy(take(sizeof(Number)), lies.begin());
    return std::bit_cast<Number>(lies);
  }

  /// At most `count` bytes.
  Input bytes(std::size_t count) {
    const auto part = take(count);
    return {part.begin(), part.end()};
  }

 private:
  std::span<const std::uint8_t> take(std::size_t count) {
    const auto part = rest_.first(count < rest_.size() ? count : rest_.size());
    rest_ = rest_.subspan(part.size());
    return part;
  }

  std::span<const std::uint8_t> rest_;
};

template <typename Bytes>
Input input_of(const Bytes &bytes) {
  const auto *start = reinterpret_cast<const std::uint8_t *>(bytes.data());
  return {start, start + bytes.size()};
}

inline Input input_of_file(const std::filesystem::path &file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// A seed whose first byte chooses what to do, as in several targets.
template <typename Bytes>
Input chosen(std::uint8_t choice, const Bytes &rest) {
  Input input{choice};
  const Input more = input_of(rest);
  input.insert(input.end(), more.begin(), more.end());
  return input;
}

}  // namespace fuzz
