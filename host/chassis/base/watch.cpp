#include "host/chassis/base/watch.h"

#include <asio/posix/stream_descriptor.hpp>
#include <cerrno>
#include <utility>

namespace chassis {

constexpr int items_per_wake_up = 64;

class Watch::Reader : public std::enable_shared_from_this<Watch::Reader> {
 public:
  Reader(asio::io_context &loop, int descriptor, std::function<ReadResult()> read_one)
      : descriptor_(loop, descriptor), read_one_(std::move(read_one)) {}

  void wait() {
    descriptor_.async_wait(asio::posix::stream_descriptor::wait_read,
                           [self = shared_from_this()](const asio::error_code &error) {
                             if (!error) self->drain();
                           });
  }

  void stop() {
    stopped_ = true;
    asio::error_code ignored;
    descriptor_.cancel(ignored);
    descriptor_.release();
  }

 private:
  void drain() {
    for (int taken = 0; taken < items_per_wake_up && !stopped_; ++taken) {
      const ReadResult result = read_one_();
      if (result == ReadResult::ended) return;
      if (result == ReadResult::nothing) break;
    }
    if (!stopped_) wait();
  }

  asio::posix::stream_descriptor descriptor_;
  std::function<ReadResult()> read_one_;
  bool stopped_ = false;
};

Watch::Watch(asio::io_context &loop, int descriptor, std::function<ReadResult()> read_one)
    : reader_(std::make_shared<Reader>(loop, descriptor, std::move(read_one))) {
  reader_->wait();
}

Watch::~Watch() { reader_->stop(); }

ReadResult result_of_failed_read(int error) {
  const bool later = error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
  return later ? ReadResult::nothing : ReadResult::ended;
}

}  // namespace chassis
