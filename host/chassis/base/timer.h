// A timer that calls its handler once, and never after it was cancelled, set again or destroyed, not even when
// the event loop had already queued the expiry.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>

namespace chassis {

class Timer {
 public:
  explicit Timer(asio::io_context &loop) : timer_(loop) {}

  /// Replaces what was set before. `on_expiry` may destroy the timer.
  void set(std::chrono::milliseconds bound, std::function<void()> on_expiry) {
    handler_ = std::make_shared<std::function<void()>>(std::move(on_expiry));
    timer_.expires_after(bound);
    timer_.async_wait([armed = std::weak_ptr(handler_)](const std::error_code &error) {
      if (const auto armed_still = armed.lock(); armed_still && !error) (*armed_still)();
    });
  }

  void cancel() {
    handler_.reset();
    timer_.cancel();
  }

 private:
  asio::steady_timer timer_;
  std::shared_ptr<std::function<void()>> handler_;
};

}  // namespace chassis
