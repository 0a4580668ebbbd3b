#include "opal/qbus.h"

#include <cerrno>
#include <cstdio>
#include <fstream>

#include "host/opal/ask.h"
#include "host/opal/queue.h"

namespace {

using namespace opal;

constexpr std::uint32_t qbus_version = 1;

qbus_queue_t refuse(int error) {
  errno = error;
  return -1;
}

/// The network namespace limits how many messages may wait; warns a program that expects more.
void check_queue_length(int wanted, const char *name) {
  int possible = 0;
  std::ifstream("/proc/sys/net/unix/max_dgram_qlen") >> possible;
  if (possible > 0 && possible < wanted) {
    std::fprintf(stderr, "%s: only %d of %d messages can wait; raise net.unix.max_dgram_qlen\n", name,
                 possible, wanted);
  }
}

int errno_of(rcode_t rcode) {
  switch (rcode) {
    case RCODE_SUCCESS:
      return 0;
    case RCODE_TIMED_OUT:
      return ETIMEDOUT;
    case RCODE_UNAVAILABLE:
      return ECONNREFUSED;
    case RCODE_REFUSED:
      return EACCES;
    default:
      return EPROTO;
  }
}

bus::Bytes payload_bytes(const void *payload, std::uint32_t length) {
  return {static_cast<const std::byte *>(payload), length};
}

}  // namespace

qbus_queue_t qbus_bind(uint32_t version, uint32_t sap, const qbus_bind_options_t *options, const char *name) {
  const bool known = version == qbus_version && options != nullptr && options->version == qbus_version;
  if (!known || options->qlen < 0 || options->flags != 0) return refuse(EINVAL);
  host::Result<Queue> queue = Queue::bind({options->node, sap});
  if (!queue) return refuse(queue.error().cause.value());
  check_queue_length(options->qlen, name);
  return add_queue(std::move(*queue)).handle();
}

int qbus_options_set(qbus_queue_t queue, uint32_t opcode, uint16_t options) {
  Queue *found = find_queue(queue);
  if (found == nullptr) return refuse(EBADF);
  if ((options & ~(QBUS_OPTION_RECEIVE | QBUS_OPTION_SUBSCRIBE)) != 0) return refuse(EINVAL);
  if ((options & QBUS_OPTION_SUBSCRIBE) == 0) return 0;
  const bus::Subscription subscription{opcode, found->address()};
  const int error =
      errno_of(rcode_of(ask(bus::address::broker, bus::opcode::subscribe, bus::bytes_of(subscription))));
  return error == 0 ? 0 : refuse(error);
}

int qbus_recv(qbus_queue_t queue, qbus_msg_ref_t *reference, int flags) {
  Queue *found = find_queue(queue);
  if (found == nullptr) return refuse(EBADF);
  if (flags != 0) return refuse(EINVAL);
  host::Result<Held> held = found->take();
  if (!held) return refuse(held.error().cause.value());
  *reference = message_table().hold(std::move(*held));
  return 0;
}

int qbus_drop(qbus_queue_t queue, qbus_msg_ref_t *reference) {
  if (find_queue(queue) == nullptr) return refuse(EBADF);
  return message_table().release(reference) ? 0 : refuse(EINVAL);
}

uint32_t qbus_opc_get(const qbus_msg_ref_t *reference) {
  const Held *held = message_table().find(reference);
  return held != nullptr ? held->message.opcode : 0;
}

void *qbus_payload_get(const qbus_msg_ref_t *reference) {
  Held *held = message_table().find(reference);
  return held != nullptr && !held->message.payload.empty() ? held->message.payload.data() : nullptr;
}

uint32_t qbus_payload_size_get(const qbus_msg_ref_t *reference) {
  const Held *held = message_table().find(reference);
  return held != nullptr ? static_cast<uint32_t>(held->message.payload.size()) : 0;
}

int qbus_is_response(const qbus_msg_ref_t *reference) {
  const bus::Message *message = received_message(reference);
  return message != nullptr && message->kind == bus::Kind::response ? 1 : 0;
}

uint32_t qbus_rr_token_get(const qbus_msg_ref_t *reference) {
  const Held *held = message_table().find(reference);
  return held != nullptr ? held->message.token : 0;
}

int fu_qbus_send(qbus_queue_t queue, qbus_addr_t destination, uint32_t opcode, const void *payload,
                 uint32_t length, qbus_msg_ref_t *reply, uint32_t flags, uint32_t timeout) {
  Queue *found = find_queue(queue);
  if (found == nullptr) return EBADF;
  if (flags != 0 || timeout != 0 || (payload == nullptr && length != 0)) {
    found->set_last_error(EINVAL);
    return EINVAL;
  }
  Held sent;
  sent.kind = HeldKind::sent_request;
  sent.queue = queue;
  sent.message.opcode = opcode;
  sent.message.token = found->new_token();
  const int error = errno_of(found->send({destination.node, destination.sap}, bus::Kind::request, opcode,
                                         sent.message.token, payload_bytes(payload, length)));
  if (error == 0 && reply != nullptr) *reply = message_table().hold(std::move(sent));
  return error;
}

int qbus_reply(qbus_queue_t queue, const qbus_msg_ref_t *request, const void *payload, uint32_t length) {
  Queue *found = find_queue(queue);
  if (found == nullptr) return EBADF;
  const int error = payload == nullptr && length != 0
                        ? EINVAL
                        : errno_of(reply_to(request, payload_bytes(payload, length)));
  found->set_last_error(error);
  return error;
}

int qbus_errno_get(qbus_queue_t queue) {
  const Queue *found = find_queue(queue);
  return found != nullptr ? found->last_error() : EBADF;
}
