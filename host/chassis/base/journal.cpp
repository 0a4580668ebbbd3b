#include "host/chassis/base/journal.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>

namespace chassis {

namespace {

std::string time_of_day() {
  const auto now = std::chrono::system_clock::now();
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(std::chrono::system_clock::to_time_t(now)),
                     milliseconds);
}

}  // namespace

Journal::Journal(const std::filesystem::path &file)
    : file_(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644)) {}

void Journal::line(std::string_view text) {
  std::string whole = fmt::format("{} {}", time_of_day(), text);
  std::replace_if(
      whole.begin(), whole.end(), [](char byte) { return byte >= 0 && byte < ' '; }, ' ');
  whole += '\n';
  const int target = file_ ? file_.get() : STDERR_FILENO;
  // A log line that cannot be written is lost: nothing else may fail because of it.
  [[maybe_unused]] const ssize_t written = ::write(target, whole.data(), whole.size());
}

}  // namespace chassis
