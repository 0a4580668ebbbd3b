#include "tesk/tesk_format.h"

#include <stdarg.h>
#include <stdio.h>

size_t tesk_format_cut(char *buffer, size_t size, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return (size_t)length < size ? (size_t)length : size - 1;
}

[[gnu::noinline]] char *tesk_put_text(char *to, const char *text, size_t length) {
  memcpy(to, text, length);
  return to + length;
}
