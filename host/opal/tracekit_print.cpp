#include <sys/time.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "host/opal/trace_switches.h"
#include "opal/tracekit.h"

using namespace opal;

namespace {

constexpr std::size_t line_max = 2048;

/// Bytes that a printf-like call put into a field: never more than fit.
std::size_t fitting(int printed, std::size_t size) {
  if (printed < 0) return 0;
  return static_cast<std::size_t>(printed) < size ? static_cast<std::size_t>(printed) : size - 1;
}

std::size_t print_time(char *text, std::size_t size) {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  return fitting(std::snprintf(text, size, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                               static_cast<int>(now.tv_usec / 1000)),
                 size);
}

bool is_line_end(char character) { return character == '\n' || character == '\r'; }

/// One write, so that lines of several programs do not mix.
void write_line(const char *line, std::size_t length) {
  while (length > 0) {
    const ssize_t written = write(STDERR_FILENO, line, length);
    if (written <= 0) return;
    line += written;
    length -= static_cast<std::size_t>(written);
  }
}

/// A syslog facility of the system. The platform's own numbers are above its range and become LOG_DAEMON.
int system_facility(std::uint32_t facility) {
  const bool known = facility <= static_cast<std::uint32_t>(LOG_LOCAL7) && facility % 8 == 0;
  return known ? static_cast<int>(facility) : LOG_DAEMON;
}

}  // namespace

int dbgprint(int, const char *module, uint32_t, const char *format, ...) {
  std::array<char, line_max> line{};
  std::size_t length = print_time(line.data(), line.size());
  const std::size_t text_room = line.size() - 1;
  length += fitting(std::snprintf(line.data() + length, text_room - length, " %u %s ",
                                  trace::switches.last_asked, module != nullptr ? module : ""),
                    text_room - length);
  va_list arguments;
  va_start(arguments, format);
  length += fitting(std::vsnprintf(line.data() + length, text_room - length, format, arguments),
                    text_room - length);
  va_end(arguments);
  while (length > 0 && is_line_end(line[length - 1])) --length;
  line[length++] = '\n';
  write_line(line.data(), length);
  return static_cast<int>(length);
}

void opal_openlog(const char *identity, int options, uint32_t facility) {
  static std::string kept_identity;
  kept_identity = identity != nullptr ? identity : "";
  openlog(kept_identity.c_str(), options, system_facility(facility));
}

void trace::report_failure(const std::string &what) {
  const std::string line = what + '\n';
  write_line(line.data(), line.size());
  if (tracekit_sys_facility != nullptr && LOG_CRIT <= static_cast<int>(tracekit_sys_facility->default_filter))
    syslog(LOG_CRIT, "%s", what.c_str());
}
