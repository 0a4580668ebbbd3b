#include "tests/host/opal/program.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>

#include "tests/host/system/temporary_folder.h"

namespace opal::test {

const std::filesystem::path &run_folder() {
  static const TemporaryFolder folder;
  static const bool named = setenv("OPAL_RUN_DIR", folder.path().c_str(), 1) == 0;
  EXPECT_TRUE(named);
  return folder.path();
}

qbus_queue_t queue() {
  run_folder();
  static const qbus_queue_t bound = [] {
    qbus_bind_options_t options{};
    options.version = 1;
    options.qlen = 10;
    options.uuid = 738;
    return qbus_bind(1, 721, &options, "Test QBUS queue");
  }();
  return bound;
}

bool wait_readable(int fd, std::chrono::milliseconds limit) {
  pollfd waiting{fd, POLLIN, 0};
  return poll(&waiting, 1, static_cast<int>(limit.count())) == 1;
}

std::optional<qbus_msg_ref_t> take_message() {
  qbus_msg_ref_t reference{};
  if (!wait_readable(queue()) || qbus_recv(queue(), &reference, 0) != 0) return std::nullopt;
  return reference;
}

void drain_queue() {
  qbus_msg_ref_t reference{};
  while (qbus_recv(queue(), &reference, 0) == 0) qbus_drop(queue(), &reference);
}

bus::Socket bind(bus::Address address) {
  host::Result<bus::Socket> socket = bus::Socket::bind(run_folder(), address);
  EXPECT_TRUE(socket) << socket.error().cause.message();
  return std::move(*socket);
}

std::optional<bus::Message> receive(bus::Socket &socket) {
  if (!wait_readable(socket.fd())) return std::nullopt;
  host::Result<bus::Message> message = socket.receive();
  return message ? std::optional(std::move(*message)) : std::nullopt;
}

Service::Service(bus::Address address, Answer answer)
    : answer_(std::move(answer)),
      arrived_(eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      thread_(&Service::serve, this, bind(address)) {}

Service::~Service() {
  eventfd_write(stop_.get(), 1);
  thread_.join();
}

void Service::serve(bus::Socket socket) {
  std::array<pollfd, 2> waiting{pollfd{socket.fd(), POLLIN, 0}, pollfd{stop_.get(), POLLIN, 0}};
  while (poll(waiting.data(), waiting.size(), -1) > 0 && waiting[1].revents == 0) {
    const host::Result<bus::Message> message = socket.receive();
    if (!message) continue;
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(*message);
    }
    eventfd_write(arrived_.get(), 1);
    const std::optional<bus::Payload> payload = answer_(*message);
    if (payload && message->kind == bus::Kind::request)
      socket.send(message->source, bus::Kind::response, message->opcode, message->token, *payload);
  }
}

std::optional<bus::Message> Service::request() {
  eventfd_t count = 0;
  if (!wait_readable(arrived_.get()) || eventfd_read(arrived_.get(), &count) != 0) return std::nullopt;
  const std::lock_guard lock(mutex_);
  bus::Message first = std::move(requests_.front());
  requests_.erase(requests_.begin());
  return first;
}

}  // namespace opal::test
