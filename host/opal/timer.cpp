// Each timer is a timerfd that the program's first queue watches. Expiries that were not yet received
// count as one: a slow program is not called once for each period that it missed.
#include "opal/timer.h"

#include <sys/timerfd.h>

#include <vector>

#include "host/opal/queue.h"
#include "opal/rcode.h"

namespace {

constexpr std::uint32_t ms_per_second = 1000;
constexpr long ns_per_ms = 1'000'000;
constexpr std::uint32_t timers_max = 1024;

struct Timer {
  host::Descriptor descriptor;
  itimerspec period{};
  timer_callback_t callback = nullptr;
  void *user_data = nullptr;
};

struct Module {
  std::uint32_t capacity = 0;
  std::uint32_t tick_ms = ms_per_second;
  std::vector<Timer> timers;
};

Module &module() {
  static Module the_module;
  return the_module;
}

Timer *find_timer(timer_handle_t handle) {
  std::vector<Timer> &timers = module().timers;
  return handle >= 1 && handle <= timers.size() ? &timers[handle - 1] : nullptr;
}

itimerspec period_of(std::uint32_t seconds, bool periodic) {
  timespec length{};
  if (seconds > 0) {
    length.tv_sec = static_cast<time_t>(seconds);
  } else {
    length.tv_sec = static_cast<time_t>(module().tick_ms / ms_per_second);
    length.tv_nsec = static_cast<long>(module().tick_ms % ms_per_second) * ns_per_ms;
  }
  itimerspec period{};
  period.it_value = length;
  if (periodic) period.it_interval = length;
  return period;
}

}  // namespace

int timer_module_init(uint32_t count, uint32_t tick_ms) {
  if (count == 0 || count > timers_max || tick_ms == 0) return static_cast<int>(RCODE_INVALID);
  module().capacity = count;
  module().tick_ms = tick_ms;
  module().timers.reserve(count);
  return 0;
}

timer_handle_t timer_new(uint32_t seconds, int periodic, timer_callback_t callback, void *user_data) {
  std::vector<Timer> &timers = module().timers;
  if (callback == nullptr || timers.size() >= module().capacity) return 0;
  host::Descriptor descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  if (!descriptor) return 0;
  timers.push_back({std::move(descriptor), period_of(seconds, periodic != 0), callback, user_data});
  return static_cast<timer_handle_t>(timers.size());
}

int timer_start(timer_handle_t timer) {
  Timer *found = find_timer(timer);
  if (found == nullptr) return static_cast<int>(RCODE_INVALID);
  opal::Queue *queue = opal::first_queue();
  if (queue == nullptr) return static_cast<int>(RCODE_UNAVAILABLE);
  const bool watched = queue->watch(found->descriptor.get(), timer);
  if (!watched || timerfd_settime(found->descriptor.get(), 0, &found->period, nullptr) != 0)
    return static_cast<int>(RCODE_NO_MEMORY);
  return 0;
}

void opal::run_timer(std::uint32_t source) {
  if (const Timer *timer = find_timer(source)) timer->callback(timer->user_data);
}
