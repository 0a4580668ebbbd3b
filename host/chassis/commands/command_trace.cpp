// `chassis trace [--follow] [--category …]`
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "host/bus/socket.h"
#include "host/chassis/commands/commands.h"
#include "host/chassis/commands/control_client.h"
#include "host/chassis/control/trace_categories.h"
#include "host/chassis/sandbox/sandbox_entry.h"
#include "host/history/trace_ring.h"

namespace chassis {

namespace {

using opal::trace::Event;

// The identity of the daemon's trace history.
constexpr std::uint32_t tesk_trace_uuid = 115;

// The writer makes no system call, so nothing wakes the reader: it polls at this interval.
constexpr int look_again_ms = 50;

constexpr std::int64_t ns_per_ms = 1'000'000;

/// The text without its line ends. Other control characters, which could disturb a terminal, become blanks.
std::string printable(std::string text) {
  text.erase(text.find_last_not_of("\r\n") + 1);
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }, ' ');
  return text;
}

class TracePrinter {
 public:
  explicit TracePrinter(const TraceOptions &options)
      : json_(options.json), colour_(isatty(STDOUT_FILENO) == 1) {
    for (const std::string &name : options.categories) wanted_.insert(*category_number(name));
  }

  void not_before(std::int64_t time_ns) { not_before_ = time_ns; }

  void print(const std::vector<Event> &events) const {
    for (const Event &event : events) {
      if (event.time_ns < not_before_ || (!wanted_.empty() && !wanted_.contains(event.category))) continue;
      fmt::print("{}\n", json_ ? as_json(event) : as_line(event));
    }
    std::fflush(stdout);
  }

 private:
  static std::string as_json(const Event &event) {
    const nlohmann::json line = {{"version", 1},
                                 {"sequence", event.sequence},
                                 {"time_ns", event.time_ns},
                                 {"category", category_name(event.category)},
                                 {"text", event.text}};
    return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }

  std::string as_line(const Event &event) const {
    const auto seconds = static_cast<std::time_t>(event.time_ns / (1000 * ns_per_ms));
    const std::string line =
        fmt::format("{:%H:%M:%S}.{:03} {:<7} {}", fmt::localtime(seconds), event.time_ns / ns_per_ms % 1000,
                    category_name(event.category), printable(event.text));
    const bool marked = colour_ && event.category == category_number("error");
    return marked ? fmt::format("\033[31m{}\033[0m", line) : line;
  }

  bool json_;
  bool colour_;
  std::set<std::uint32_t> wanted_;
  std::int64_t not_before_ = 0;
};

/// Waits before the next poll. @return whether the output still has a reader
bool wait_for_more() {
  pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
  return poll(&output, 1, look_again_ms) <= 0;
}

}  // namespace

host::Result<> print_trace(const TraceOptions &options) {
  if (host::Result<> entered = enter_sandbox(options.name); !entered) return entered;
  TracePrinter printer(options);
  if (options.since_start) {
    host::Result<nlohmann::json> status = ask_chassis(options.name, {{"verb", "status"}});
    if (!status) return failed(std::move(status));
    printer.not_before(status->at("daemon").at("started_ns").get<std::int64_t>());
  }
  auto reader =
      opal::trace::RingReader::open(opal::trace::ring_file(opal::bus::run_folder(), tesk_trace_uuid));
  if (!reader) return failed(std::move(reader));
  printer.print(reader->read_new());
  while (options.follow && wait_for_more()) printer.print(reader->read_new());
  return {};
}

}  // namespace chassis
