// Reads a descriptor of the event loop whenever something waits there.
//
// `read_one` takes one item and says what it found. At most 64 items are taken per wake-up, then the other
// descriptors get their turn. The watch borrows the descriptor and must be destroyed before it is closed.
// `read_one` may destroy the watch, and never runs after that, not even when the event loop had already queued
// the wake-up.
#pragma once

#include <asio/io_context.hpp>
#include <functional>
#include <memory>

namespace chassis {

enum class ReadResult {
  taken,    ///< one item; there may be more
  nothing,  ///< nothing waits
  ended     ///< nothing will ever come again; the watch ends
};

class Watch {
 public:
  Watch(asio::io_context &loop, int descriptor, std::function<ReadResult()> read_one);
  ~Watch();
  Watch(const Watch &) = delete;
  Watch &operator=(const Watch &) = delete;

 private:
  class Reader;
  std::shared_ptr<Reader> reader_;  ///< a queued wake-up holds it too
};

/// What a failed `read` means: nothing waits, or the end.
ReadResult result_of_failed_read(int error);

}  // namespace chassis
