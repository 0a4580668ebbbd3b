// Runs an event loop until a condition is true.
#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>

namespace chassis {

/// Runs the loop until `done` is true or the time limit is reached; checks first. @return whether `done` is
/// true
inline bool run_until(asio::io_context &loop, const std::function<bool()> &done,
                      std::chrono::milliseconds bound = std::chrono::seconds{10}) {
  const auto end = std::chrono::steady_clock::now() + bound;
  while (!done()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    loop.restart();
    loop.run_one_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace chassis
