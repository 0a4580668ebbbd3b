// The program's queue and the messages it holds, inside the platform library.
//
// A queue's handle is an epoll descriptor over the queue's bus socket and the descriptors of running
// timers, so that one `select` wakes for all of them and nothing waits in user space. qbus_recv takes
// what is ready from one of them in turn: a message from the socket, or an expiry. An expiry is a message
// of its own until overseer_dispatch runs its callback.
//
// A failure's cause is an errno; it has no sentence.
//
// A reference is a slot and its generation, never a pointer: a reference that was dropped, copied and kept
// too long, or invented finds nothing.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "host/bus/codec.h"
#include "host/bus/socket.h"
#include "host/system/descriptor.h"
#include "host/system/failure.h"
#include "opal/qbus.h"

namespace opal {

enum class HeldKind { nothing, received, sent_request, expiry };

/// What a reference refers to.
struct Held {
  HeldKind kind = HeldKind::nothing;
  qbus_queue_t queue = -1;
  bus::Message message;      ///< for a sent request: only opcode and token
  std::uint32_t source = 0;  ///< for an expiry: as passed to Queue::watch
};

class MessageTable {
 public:
  qbus_msg_ref_t hold(Held held);
  /// @return null for a reference that is not held
  Held *find(const qbus_msg_ref_t *reference);
  bool release(const qbus_msg_ref_t *reference);

 private:
  struct Slot {
    Held held;
    std::uint32_t generation = 1;
  };
  std::deque<Slot> slots_;
  std::vector<std::uint32_t> free_;
};

MessageTable &message_table();

class Queue {
 public:
  static host::Result<Queue> bind(bus::Address address);

  qbus_queue_t handle() const { return epoll_.get(); }
  bus::Address address() const { return socket_.address(); }
  /// @return what is ready; EAGAIN when nothing is
  host::Result<Held> take();
  /// Lets `fd`, a timer descriptor, wake the queue; its expiries arrive as HeldKind::expiry with `source`.
  bool watch(int fd, std::uint32_t source);
  std::uint32_t new_token();
  /// Sends and remembers the error.
  host::Result<> send(bus::Address destination, bus::Kind kind, std::uint32_t opcode, std::uint32_t token,
                      bus::Bytes payload);
  int last_error() const { return last_error_; }
  void set_last_error(int error) { last_error_ = error; }

 private:
  Queue(host::Descriptor epoll, bus::Socket socket) : epoll_(std::move(epoll)), socket_(std::move(socket)) {}
  host::Descriptor epoll_;
  bus::Socket socket_;
  std::uint32_t next_token_ = 1;
  int last_error_ = 0;
};

/// Keeps a bound queue for the life of the process.
Queue &add_queue(Queue queue);
/// @return null for a handle that is not a queue
Queue *find_queue(qbus_queue_t handle);
/// The program's first queue, which timers wake; null before one is bound.
Queue *first_queue();

/// @return the received message behind a reference, null for anything else
const bus::Message *received_message(const qbus_msg_ref_t *reference);

/// Answers a received request on the queue that took it.
host::Result<> reply_to(const qbus_msg_ref_t *request, bus::Bytes payload);

/// The result as the C interface returns it. @return 0 or an errno
inline int errno_of(const host::Result<> &result) { return result ? 0 : result.error().cause.value(); }

/// Runs the callback of an expiry; see timer.cpp.
void run_timer(std::uint32_t source);

}  // namespace opal
