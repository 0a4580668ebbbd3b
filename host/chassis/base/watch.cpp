#include "host/chassis/base/watch.h"

#include <cerrno>
#include <utility>

namespace chassis {

constexpr int items_per_wake_up = 64;

Watch::Watch(asio::io_context &loop, int descriptor, std::function<ReadResult()> read_one)
    : descriptor_(loop, descriptor), read_one_(std::move(read_one)) {
  wait();
}

Watch::~Watch() {
  asio::error_code ignored;
  descriptor_.cancel(ignored);
  descriptor_.release();
}

void Watch::wait() {
  descriptor_.async_wait(asio::posix::stream_descriptor::wait_read, [this](const asio::error_code &error) {
    if (!error) drain();
  });
}

void Watch::drain() {
  for (int taken = 0; taken < items_per_wake_up; ++taken) {
    const ReadResult result = read_one_();
    if (result == ReadResult::ended) return;
    if (result == ReadResult::nothing) break;
  }
  wait();
}

ReadResult result_of_failed_read(int error) {
  const bool later = error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
  return later ? ReadResult::nothing : ReadResult::ended;
}

}  // namespace chassis
