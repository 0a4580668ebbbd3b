#include "host/opal/queue.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace opal {
namespace {

constexpr std::uint32_t no_token = std::numeric_limits<std::uint32_t>::max();

std::vector<Queue> &queues() {
  static std::vector<Queue> all;
  return all;
}

/// The data that epoll returns with an event: the descriptor and its source.
std::uint64_t event_data(int fd, std::uint32_t source) {
  return std::uint64_t{source} << 32 | static_cast<std::uint32_t>(fd);
}

bool add(int epoll, int fd, std::uint32_t source) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = event_data(fd, source);
  return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == 0 || errno == EEXIST;
}

host::Failed nothing_ready() { return host::failure(host::errno_cause(EAGAIN)); }

}  // namespace

host::Result<Queue> Queue::bind(bus::Address address) {
  host::Result<bus::Socket> socket = bus::Socket::bind(bus::run_folder(), address);
  if (!socket) return failed(std::move(socket));
  host::Descriptor epoll(epoll_create1(EPOLL_CLOEXEC));
  if (!epoll || !add(epoll.get(), socket->fd(), 0)) return host::errno_failure();
  return Queue(std::move(epoll), std::move(*socket));
}

bool Queue::watch(int fd, std::uint32_t source) { return add(epoll_.get(), fd, source); }

host::Result<Held> Queue::take() {
  epoll_event event{};
  // The kernel reports ready descriptors in turn, so neither timers nor messages can starve the others.
  const int ready = epoll_wait(epoll_.get(), &event, 1, 0);
  if (ready < 0 && errno != EINTR) return host::errno_failure();
  if (ready <= 0) return nothing_ready();
  Held held;
  held.queue = handle();
  const int fd = static_cast<int>(event.data.u64 & std::numeric_limits<std::uint32_t>::max());
  if (fd != socket_.fd()) {
    std::uint64_t expiries = 0;
    if (read(fd, &expiries, sizeof expiries) != sizeof expiries) return nothing_ready();
    held.kind = HeldKind::expiry;
    held.source = static_cast<std::uint32_t>(event.data.u64 >> 32);
    return held;
  }
  host::Result<bus::Message> message = socket_.receive();
  if (!message) return failed(std::move(message));
  held.kind = HeldKind::received;
  held.message = std::move(*message);
  return held;
}

std::uint32_t Queue::new_token() {
  const std::uint32_t token = next_token_++;
  if (next_token_ == no_token) next_token_ = 1;
  return token;
}

host::Result<> Queue::send(bus::Address destination, bus::Kind kind, std::uint32_t opcode,
                           std::uint32_t token, bus::Bytes payload) {
  host::Result<> sent = socket_.send(destination, kind, opcode, token, payload);
  last_error_ = errno_of(sent);
  return sent;
}

Queue *find_queue(qbus_queue_t handle) {
  for (Queue &queue : queues())
    if (queue.handle() == handle) return &queue;
  return nullptr;
}

Queue *first_queue() { return queues().empty() ? nullptr : &queues().front(); }

Queue &add_queue(Queue queue) { return queues().emplace_back(std::move(queue)); }

host::Result<> reply_to(const qbus_msg_ref_t *request, bus::Bytes payload) {
  const Held *held = message_table().find(request);
  if (held == nullptr || held->kind != HeldKind::received || held->message.kind != bus::Kind::request)
    return host::failure(host::errno_cause(EINVAL));
  Queue *queue = find_queue(held->queue);
  if (queue == nullptr) return host::failure(host::errno_cause(EINVAL));
  const bus::Message &message = held->message;
  return queue->send(message.source, bus::Kind::response, message.opcode, message.token, payload);
}

}  // namespace opal
