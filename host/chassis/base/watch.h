// Reads a descriptor of the event loop whenever something waits there.
//
// `read_one` takes one item and says what it found. At most 64 items are taken per wake-up, then the other
// descriptors have their turn. The watch borrows the descriptor; it must go before the descriptor does.
#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <functional>

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
  void wait();
  void drain();

  asio::posix::stream_descriptor descriptor_;
  std::function<ReadResult()> read_one_;
};

/// What a failed `read` means: nothing waits, or the end.
ReadResult result_of_failed_read(int error);

}  // namespace chassis
