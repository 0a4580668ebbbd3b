// An event goes to the history of its identity. While that history does not exist, the event goes to the
// process-wide history, and a small buffer keeps it for its own history, which then shows the whole start-up.
#include <time.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "host/bus/socket.h"
#include "host/history/trace_ring.h"
#include "host/opal/trace_switches.h"
#include "opal/tracekit.h"

using namespace opal;

namespace {

constexpr std::uint32_t process_wide = 0;
constexpr std::size_t early_events_max = 256;

struct History {
  std::uint32_t uuid;
  std::optional<trace::RingWriter> ring;  ///< none when it could not be made
};

struct EarlyEvent {
  std::uint32_t uuid;
  std::int64_t time_ns;
  std::uint32_t category;
  std::string text;
};

std::vector<History> histories;
std::vector<EarlyEvent> early_events;

History *find_history(std::uint32_t uuid) {
  // The last one made is the program's own, and nearly every event is for it.
  for (auto history = histories.rbegin(); history != histories.rend(); ++history)
    if (history->uuid == uuid) return &*history;
  return nullptr;
}

/// The time of the kernel's last tick: readers see milliseconds, and this clock costs a relayed frame less.
std::int64_t now_ns() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/// Moves the early events of this identity into its history.
void flush_early(History &history) {
  const auto belongs = [&history](const EarlyEvent &event) { return event.uuid == history.uuid; };
  for (const EarlyEvent &event : early_events)
    if (belongs(event) && history.ring) history.ring->append(event.time_ns, event.category, event.text);
  std::erase_if(early_events, belongs);
}

int make_history(std::uint32_t uuid, std::uint32_t size) {
  if (find_history(uuid) != nullptr) return static_cast<int>(RCODE_EXISTS);
  host::Result<trace::RingWriter> ring =
      trace::RingWriter::open(trace::ring_file(bus::run_folder(), uuid), size);
  if (!ring)
    trace::report_failure("trace history " + std::to_string(uuid) + " is not kept: " + ring.error().what);
  History &history = histories.emplace_back(History{uuid, {}});
  if (ring) history.ring = std::move(*ring);
  flush_early(history);
  return history.ring ? 0 : static_cast<int>(RCODE_IO);
}

/// Keeps an event for the history that its identity may get later. @return the history for it until then
[[gnu::cold, gnu::noinline]] History *keep_early(std::uint32_t uuid, std::uint32_t category,
                                                 std::string_view text) {
  if (early_events.size() < early_events_max)
    early_events.push_back({uuid, now_ns(), category, std::string(text)});
  return find_history(process_wide);
}

}  // namespace

int tracekit_hist_init(uint32_t size) { return make_history(process_wide, size); }

int tracekit_hist_init_for_uuid(uint32_t uuid, uint32_t size) {
  if (uuid == process_wide) return static_cast<int>(RCODE_INVALID);
  return make_history(uuid, size);
}

void tracekit_hist_event(uint32_t event_code, uint32_t length, const void *event) {
  std::uint32_t category = 0;
  if (event == nullptr || length < sizeof category) return;
  std::memcpy(&category, event, sizeof category);
  std::string_view text(static_cast<const char *>(event) + sizeof category, length - sizeof category);
  if (text.ends_with('\0')) text.remove_suffix(1);
  const std::uint32_t uuid = event_code >> 16;
  History *history = find_history(uuid);
  if (history == nullptr) history = keep_early(uuid, category, text);
  if (history != nullptr && history->ring) history->ring->append(now_ns(), category, text);
}
