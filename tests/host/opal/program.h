// The test process as a program of the platform: one run-time folder, one queue, and services that tests
// run on threads, all on the real bus.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "host/bus/codec.h"
#include "host/bus/socket.h"
#include "host/system/descriptor.h"
#include "opal/qbus.h"

namespace opal::test {

inline constexpr std::chrono::seconds patience{5};

/// The run-time folder of this process, made at the first call.
const std::filesystem::path &run_folder();

/// The program's queue, bound to 0.721 at the first call.
qbus_queue_t queue();

/// Waits until the queue is readable. @return false on timeout
bool wait_readable(int fd, std::chrono::milliseconds limit = patience);

/// Waits for the next message of the queue and takes it.
std::optional<qbus_msg_ref_t> take_message();

/// Drops all messages in the queue.
void drain_queue();

bus::Socket bind(bus::Address address);

/// Waits for the next message at a test's own socket.
std::optional<bus::Message> receive(bus::Socket &socket);

/// A service on its own thread; a function of the test answers its requests.
class Service {
 public:
  /// @param answer returns the payload of the response; nothing to leave a request unanswered
  using Answer = std::function<std::optional<bus::Payload>(const bus::Message &)>;
  Service(bus::Address address, Answer answer);
  /// A service that answers every request with one record.
  template <typename Record>
  static Service answering(bus::Address address, const Record &record) {
    const bus::Bytes bytes = bus::bytes_of(record);
    return Service(address, [payload = bus::Payload(bytes.begin(), bytes.end())](const bus::Message &) {
      return payload;
    });
  }
  static Service silent(bus::Address address) {
    return Service(address, [](const bus::Message &) { return std::nullopt; });
  }
  ~Service();
  Service(const Service &) = delete;
  Service &operator=(const Service &) = delete;

  /// Waits until a message has arrived, and takes the oldest.
  std::optional<bus::Message> request();

 private:
  void serve(bus::Socket socket);
  Answer answer_;
  std::mutex mutex_;
  std::vector<bus::Message> requests_;
  host::Descriptor arrived_;
  host::Descriptor stop_;
  std::thread thread_;
};

}  // namespace opal::test
