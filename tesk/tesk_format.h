/* Formatting of messages whose format is known at compile time.
 *
 * The daemon formats every diagnostic, recorded or not, and each relayed frame has two. A general printf
 * would cost more than the rest of the relay. So a format is a template argument: the compiler parses it and
 * checks it against its arguments. The code that runs is straight-line code: copy a text, write a number,
 * copy a text.
 *
 *     tesk_format<"%s:Read %d bytes on [%s]\n">(buffer, sizeof buffer, function, length, device)
 *
 * writes exactly what snprintf would write. The conversions are those that the daemon uses: %s, and for
 * numbers of at most 32 bits %d, %i, %u, %x and %#x. %u and %x may have a width, filled with blanks or
 * zeros. If a message might not fit, snprintf itself formats and truncates it. */
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <bit>
#include <charconv>
#include <type_traits>
#include <utility>

/** A format as a template argument. */
template <size_t Size>
struct tesk_format_text {
  char text[Size];

  consteval tesk_format_text(const char (&literal)[Size]) {  // NOLINT: a literal is its format
    for (size_t i = 0; i < Size; i++) {
      text[i] = literal[i];
    }
  }
};

/** One conversion and the text in front of it. */
typedef struct tesk_conversion {
  size_t text;        /**< where the text begins */
  size_t text_length; /**< in bytes */
  size_t end;         /**< start of the text after the conversion */
  size_t width;       /**< minimum number of digits and fillers; 0 for none */
  char fill;          /**< blank or zero */
  bool prefixed;      /**< "0x" in front of a hexadecimal number other than 0 */
  char letter;        /**< s, d, i, u or x; NUL at the end of the format */
} tesk_conversion_t;

/** A text argument, measured once. */
typedef struct tesk_text {
  const char *start;
  size_t length;
} tesk_text_t;

/** A text argument in a field of fixed size. The whole field is copied: such a copy needs no call. */
enum { TESK_NAME_BYTES = 8 };
typedef struct tesk_name {
  const char *start;
  size_t length;
} tesk_name_t;

/** Formats with snprintf, which may truncate the message. @return length of the text in the buffer */
size_t tesk_format_cut(char *buffer, size_t size, const char *format, ...);

/** Parses the format's next conversion, from `start` on. */
consteval tesk_conversion_t tesk_conversion_at(const char *format, size_t start) {
  tesk_conversion_t found = {
      .text = start, .text_length = 0, .end = start, .width = 0, .fill = ' ', .prefixed = false, .letter = 0};
  while (format[found.end] != '\0' && format[found.end] != '%') {
    found.end++;
  }
  found.text_length = found.end - start;
  if (format[found.end] == '\0') {
    return found;
  }
  found.end++;
  if (format[found.end] == '#') {
    found.prefixed = true;
    found.end++;
  }
  if (format[found.end] == '0') {
    found.fill = '0';
  }
  for (; format[found.end] >= '0' && format[found.end] <= '9'; found.end++) {
    found.width = found.width * 10 + (size_t)(format[found.end] - '0');
  }
  found.letter = format[found.end++];
  return found;
}

/** @return the format's n-th conversion, counted from 0; after the last one, the text at the end */
consteval tesk_conversion_t tesk_conversion_of(const char *format, size_t number) {
  tesk_conversion_t found = tesk_conversion_at(format, 0);
  for (size_t i = 0; i < number; i++) {
    found = tesk_conversion_at(format, found.end);
  }
  return found;
}

/** The types that %d, %i, %u and %x format. */
template <class Argument>
concept tesk_number = (std::is_integral_v<Argument> || std::is_enum_v<Argument>)&&sizeof(Argument) <= 4;

/** @return true when a conversion can format an argument of this type */
template <class Argument>
consteval bool tesk_conversion_takes(tesk_conversion_t conversion) {
  switch (conversion.letter) {
    case 's':
      return std::is_convertible_v<Argument, const char *> && conversion.width == 0;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
      return (std::is_integral_v<Argument> || std::is_enum_v<Argument>)&&sizeof(Argument) <= 4 &&
             conversion.width <= 16;
    default:
      return false;
  }
}

/** Maximum length of a conversion's result in bytes; a text counts as 0. */
constexpr size_t tesk_conversion_bytes(tesk_conversion_t conversion) {
  constexpr size_t longest_number = sizeof "-2147483648" - 1;
  const size_t number = conversion.width > longest_number ? conversion.width : longest_number;
  return conversion.letter == 's' ? 0 : number;
}

template <class Text>
requires std::is_pointer_v<Text>
inline tesk_text_t tesk_measured(const Text &text) {
  const char *start = text == nullptr ? "(null)" : text;
  return {.start = start, .length = strlen(start)};
}

template <size_t Size>
inline tesk_text_t tesk_measured(const char (&text)[Size]) {
  return {.start = text, .length = strlen(text)};
}

/** @return how many of four bytes, in memory order, come before the first NUL */
inline size_t tesk_bytes_before_nul(const char *bytes) {
  uint32_t word = 0;
  memcpy(&word, bytes, sizeof word);
  if constexpr (std::endian::native == std::endian::little) {
    word = __builtin_bswap32(word);
  }
  /* Sets the top bit of each byte that is not 0: from the byte itself, or by a carry from its lower bits. */
  const uint32_t others = ((word & 0x7f7f7f7f) + 0x7f7f7f7f) | word | 0x7f7f7f7f;
  return (size_t)std::countl_one(others) / 8;
}

/** Fields of this size hold device names. */
inline tesk_name_t tesk_measured(const char (&name)[TESK_NAME_BYTES]) {
  const size_t first = tesk_bytes_before_nul(name);
  return {.start = name, .length = first < 4 ? first : 4 + tesk_bytes_before_nul(name + 4)};
}

template <tesk_number Number>
inline Number tesk_measured(Number number) {
  return number;
}

inline size_t tesk_text_bytes(tesk_text_t text) { return text.length; }

inline size_t tesk_text_bytes(tesk_name_t) { return TESK_NAME_BYTES; }

template <tesk_number Number>
inline size_t tesk_text_bytes(Number) {
  return 0;
}

inline char *tesk_put_bytes(char *to, const char *bytes, size_t length) {
  memcpy(to, bytes, length);
  return to + length;
}

/** Writes a text of any length. A real call on purpose: inlined, the compiler copies so few bytes with an
 * instruction that takes longer to start than the whole library call. @return the end of the text */
char *tesk_put_text(char *to, const char *text, size_t length);

/** Writes a text of known length, in moves that no machine compiles to a call. */
template <size_t Length>
inline char *tesk_put_literal(char *to, const char *bytes) {
  constexpr size_t longest_move = 32;
  if constexpr (Length > longest_move) {
    return tesk_put_literal<Length - longest_move>(tesk_put_bytes(to, bytes, longest_move),
                                                   bytes + longest_move);
  }
  return tesk_put_bytes(to, bytes, Length);
}

template <tesk_conversion_t Conversion>
inline char *tesk_put(char *to, tesk_text_t text) {
  return __builtin_constant_p(text.length) ? tesk_put_bytes(to, text.start, text.length)
                                           : tesk_put_text(to, text.start, text.length);
}

/** Writes a number below 10,000; nearly all are. Computes all digits at once, in the bytes of a word. */
inline char *tesk_put_small(char *to, uint32_t number) {
  /* Divides by 100: 5243 / 2^19 is exact enough below 10,000. */
  const uint32_t hundreds = number * 5243 >> 19;
  const uint32_t pairs = (hundreds << 16) + number - hundreds * 100;
  /* Divides both halves by 10: 103 / 1024 is exact enough below 100. */
  const uint32_t tens = pairs * 103 >> 10 & 0x000f000f;
  const uint32_t digits = pairs + tens * (0x100 - 10);
  const int leading_zeros = std::countl_zero(digits | 1) / 8;
  uint32_t shown = (digits | 0x30303030) << 8 * leading_zeros;
  if constexpr (std::endian::native == std::endian::little) {
    shown = __builtin_bswap32(shown);
  }
  memcpy(to, &shown, sizeof shown);
  return to + sizeof shown - leading_zeros;
}

/** Writes 16 bits in hexadecimal, all digits at once, with leading zeros up to a width of one to four. */
template <unsigned Width>
inline char *tesk_put_half(char *to, uint32_t half) {
  const uint32_t pairs = (half | half << 8) & 0x00ff00ff;
  const uint32_t digits = (pairs | pairs << 4) & 0x0f0f0f0f;
  const uint32_t letters = (digits + 0x06060606) >> 4 & 0x01010101;
  const int hidden = Width == 4 ? 0 : std::countl_zero(digits | 1U << 8 * (Width - 1)) / 8;
  uint32_t shown = (digits + 0x30303030 + letters * ('a' - '9' - 1)) << 8 * hidden;
  if constexpr (std::endian::native == std::endian::little) {
    shown = __builtin_bswap32(shown);
  }
  memcpy(to, &shown, sizeof shown);
  return to + sizeof shown - hidden;
}

/** Writes a number in hexadecimal, with leading zeros up to a width of at most eight. */
template <unsigned Width>
inline char *tesk_put_hexadecimal(char *to, uint32_t number) {
  constexpr unsigned shown_of_low = Width == 0 ? 1 : Width;
  constexpr unsigned shown_of_high = Width <= 4 ? 1 : Width - 4;
  if constexpr (Width <= 4) {
    if (number <= 0xffff) {
      return tesk_put_half<shown_of_low>(to, number);
    }
  }
  to = tesk_put_half<shown_of_high>(to, number >> 16);
  return tesk_put_half<4>(to, number & 0xffff);
}

template <tesk_conversion_t Conversion>
inline char *tesk_put(char *to, tesk_name_t name) {
  memcpy(to, name.start, TESK_NAME_BYTES);
  return to + name.length;
}

/** Writes any number, with the digits of the standard library. */
template <tesk_conversion_t Conversion, class Shown>
char *tesk_put_any(char *to, Shown number) {
  constexpr int base = Conversion.letter == 'x' ? 16 : 10;
  constexpr size_t room = tesk_conversion_bytes(Conversion);
  if constexpr (Conversion.width == 0) {
    return std::to_chars(to, to + room, number, base).ptr;
  } else {
    char digits[room];
    const size_t length = (size_t)(std::to_chars(digits, digits + room, number, base).ptr - digits);
    const size_t fillers = length < Conversion.width ? Conversion.width - length : 0;
    memset(to, Conversion.fill, fillers);
    return tesk_put_bytes(to + fillers, digits, length);
  }
}

template <tesk_conversion_t Conversion, tesk_number Number>
inline char *tesk_put(char *to, Number number) {
  constexpr bool is_signed = Conversion.letter == 'd' || Conversion.letter == 'i';
  constexpr bool is_hexadecimal = Conversion.letter == 'x';
  constexpr size_t width = Conversion.width;
  static_assert(!Conversion.prefixed || (is_hexadecimal && width == 0), "%#x takes no width");
  static_assert(!is_signed || width == 0, "a signed number has no width: where would its sign go");
  using shown_t = std::conditional_t<is_signed, int32_t, uint32_t>;
  if (Conversion.prefixed && number != 0) {
    to = tesk_put_bytes(to, "0x", 2);
  }
  if constexpr (!is_hexadecimal && width == 0) {
    if ((uint32_t)number < 10000) [[likely]] {
      return tesk_put_small(to, (uint32_t)number);
    }
  }
  if constexpr (is_hexadecimal && width <= 8) {
    char *end = tesk_put_hexadecimal<width>(to, (uint32_t)number);
    if constexpr (width != 0 && Conversion.fill == ' ') {
      for (; *to == '0' && to < end - 1; to++) {
        *to = ' ';
      }
    }
    return end;
  }
  return tesk_put_any<Conversion>(to, (shown_t)number);
}

template <tesk_format_text Format, size_t... Index, class... Arguments>
inline size_t tesk_format_measured(char *buffer, std::index_sequence<Index...>, Arguments... arguments) {
  char *to = buffer;
  ((to = tesk_put_literal<tesk_conversion_of(Format.text, Index).text_length>(
        to, Format.text + tesk_conversion_of(Format.text, Index).text),
    to = tesk_put<tesk_conversion_of(Format.text, Index)>(to, arguments)),
   ...);
  constexpr tesk_conversion_t last = tesk_conversion_of(Format.text, sizeof...(Arguments));
  to = tesk_put_literal<last.text_length + 1>(to, Format.text + last.text);
  return (size_t)(to - buffer) - 1;
}

template <tesk_format_text Format, class... Arguments, size_t... Index>
consteval bool tesk_format_takes(std::index_sequence<Index...>) {
  return (tesk_conversion_takes<Arguments>(tesk_conversion_of(Format.text, Index)) && ... &&
          (tesk_conversion_of(Format.text, sizeof...(Arguments)).letter == '\0'));
}

/** Maximum length of a format's message in bytes, without its text arguments and the NUL. */
template <tesk_format_text Format, size_t... Index>
consteval size_t tesk_format_bytes(std::index_sequence<Index...>) {
  return (sizeof Format.text + ... + tesk_conversion_bytes(tesk_conversion_of(Format.text, Index)));
}

/**
 * Formats a message as snprintf does.
 * @param size bytes at `buffer`; the message is truncated to one less and always ends with a NUL
 * @return length of the text in the buffer, without the NUL
 */
template <tesk_format_text Format, class... Arguments>
inline size_t tesk_format(char *buffer, size_t size, const Arguments &...arguments) {
  constexpr auto indexes = std::index_sequence_for<Arguments...>();
  static_assert(tesk_format_takes<Format, Arguments...>(indexes),
                "a trace's arguments do not fit its format");
  const size_t bytes = (tesk_format_bytes<Format>(indexes) + ... + tesk_text_bytes(tesk_measured(arguments)));
  if (bytes > size) {
    return tesk_format_cut(buffer, size, Format.text, arguments...);
  }
  return tesk_format_measured<Format>(buffer, indexes, tesk_measured(arguments)...);
}
