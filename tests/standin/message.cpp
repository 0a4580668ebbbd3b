#include "tests/standin/message.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <memory>

#include "tests/standin/script.h"

namespace standin {

namespace {

enum class Origin { test, received, request };

struct Held {
  Message message;
  Origin origin;
  bool was_dropped = false;
  std::unique_ptr<uint8_t[]> payload;  // exactly as long as the message says
};

struct Messages {
  std::map<uint32_t, Held> held;
  std::deque<Message> queued;
  uint32_t next_reference = 1;
  uint32_t next_token = 1000;
};

Messages the_messages;

constexpr uint32_t reference_mark = 0x71627573;

qbus_msg_ref_t hold_as(Message message, Origin origin) {
  const uint32_t number = the_messages.next_reference++;
  std::unique_ptr<uint8_t[]> payload;
  if (!message.payload.empty()) {
    payload = std::make_unique<uint8_t[]>(message.payload.size());
    std::copy(message.payload.begin(), message.payload.end(), payload.get());
  }
  the_messages.held.emplace(number, Held{std::move(message), origin, false, std::move(payload)});
  return {{number, reference_mark, number, number, reference_mark}};
}

Held *find(const qbus_msg_ref_t *reference) {
  const uint32_t number = reference->word[0];
  const qbus_msg_ref_t whole = {{number, reference_mark, number, number, reference_mark}};
  if (std::memcmp(reference, &whole, sizeof whole) != 0) return nullptr;
  const auto found = the_messages.held.find(number);
  return found == the_messages.held.end() || found->second.was_dropped ? nullptr : &found->second;
}

std::string shown_reference(const Held &held) {
  if (held.origin == Origin::request) return "request " + std::to_string(held.message.token);
  return "message " + shown(hex(held.message.opcode));
}

}  // namespace

Payload &Payload::zeros(size_t count) {
  bytes_.resize(bytes_.size() + count);
  return *this;
}

Payload &Payload::bytes(const Bytes &more) {
  bytes_.insert(bytes_.end(), more.begin(), more.end());
  return *this;
}

qbus_msg_ref_t hold(Message message) { return hold_as(std::move(message), Origin::test); }

void queue(Message message) { the_messages.queued.push_back(std::move(message)); }

size_t queued_messages() { return the_messages.queued.size(); }

const Message &message_of(const qbus_msg_ref_t *reference) {
  static const Message none;
  const Held *held = find(reference);
  if (held == nullptr) ADD_FAILURE() << "the daemon used a message reference that it does not hold";
  return held == nullptr ? none : held->message;
}

qbus_msg_ref_t request_reference(uint32_t token) { return hold_as({.token = token}, Origin::request); }

void release(const qbus_msg_ref_t *reference) {
  if (Held *held = find(reference); held != nullptr) held->was_dropped = true;
}

uint32_t next_token() { return the_messages.next_token++; }

void reset_messages() { the_messages = {}; }

void verify_messages() {
  if (!the_messages.queued.empty())
    ADD_FAILURE() << the_messages.queued.size() << " queued messages were never received";
  for (const auto &[number, held] : the_messages.held) {
    if (held.origin != Origin::test && !held.was_dropped)
      ADD_FAILURE() << "the daemon never dropped " << shown_reference(held);
  }
}

}  // namespace standin

using namespace standin;

qbus_queue_t qbus_bind(uint32_t version, uint32_t sap, const qbus_bind_options_t *options, const char *name) {
  const std::string record = "{version " + shown(options->version) + ", flags " + shown(options->flags) +
                             ", qlen " + shown(options->qlen) + ", uuid " + shown(options->uuid) + ", node " +
                             shown(options->node) + ", buff_sum " + shown(options->buff_sum) + "}";
  return call("qbus_bind", version, sap, record, name).returns(queue_descriptor);
}

int qbus_options_set(qbus_queue_t queue, uint32_t opcode, uint16_t options) {
  return call("qbus_options_set", queue, hex(opcode), hex(options)).returns(0);
}

int qbus_recv(qbus_queue_t queue, qbus_msg_ref_t *reference, int flags) {
  const Answer answer = call("qbus_recv", queue, flags);
  if (answer.has_result()) return answer.returns(-1);
  if (the_messages.queued.empty()) {
    errno = EAGAIN;
    return answer.returns(-1);
  }
  *reference = hold_as(std::move(the_messages.queued.front()), Origin::received);
  the_messages.queued.pop_front();
  return answer.returns(0);
}

int qbus_drop(qbus_queue_t queue, qbus_msg_ref_t *reference) {
  Held *held = find(reference);
  const Answer answer =
      call("qbus_drop", queue, held == nullptr ? std::string("not held") : shown_reference(*held));
  if (held == nullptr) {
    errno = EINVAL;
    return answer.returns(-1);
  }
  held->was_dropped = true;
  held->payload.reset();  // so that a sanitizer detects a later use
  return answer.returns(0);
}

uint32_t qbus_opc_get(const qbus_msg_ref_t *reference) {
  return quiet("qbus_opc_get").returns(message_of(reference).opcode);
}

void *qbus_payload_get(const qbus_msg_ref_t *reference) {
  const Held *held = find(reference);
  return quiet("qbus_payload_get").returns_pointer<void>(held == nullptr ? nullptr : held->payload.get());
}

uint32_t qbus_payload_size_get(const qbus_msg_ref_t *reference) {
  return quiet("qbus_payload_size_get").returns(static_cast<uint32_t>(message_of(reference).payload.size()));
}

int qbus_is_response(const qbus_msg_ref_t *reference) {
  return quiet("qbus_is_response").returns(message_of(reference).is_response ? 1 : 0);
}

uint32_t qbus_rr_token_get(const qbus_msg_ref_t *reference) {
  return quiet("qbus_rr_token_get").returns(message_of(reference).token);
}

int fu_qbus_send(qbus_queue_t queue, qbus_addr_t destination, uint32_t opcode, const void *payload,
                 uint32_t length, qbus_msg_ref_t *reply, uint32_t flags, uint32_t timeout) {
  const std::string address =
      "{node " + shown(hex(destination.node)) + ", sap " + shown(destination.sap) + "}";
  const Answer answer =
      call("fu_qbus_send", queue, address, hex(opcode), shown_bytes(payload, length), flags, timeout);
  const int result = answer.returns(0);
  if (result == 0) *reply = request_reference(answer.gives(next_token()));
  return result;
}

int qbus_reply(qbus_queue_t queue, const qbus_msg_ref_t *request, const void *payload, uint32_t length) {
  const Held *held = find(request);
  return call("qbus_reply", queue, held == nullptr ? std::string("not held") : shown_reference(*held),
              shown_bytes(payload, length))
      .returns(0);
}

int qbus_errno_get(qbus_queue_t queue) {
  EXPECT_EQ(queue, queue_descriptor);
  return quiet("qbus_errno_get").returns(ECONNREFUSED);
}

const char *qbus_opc_name_get(uint32_t opcode) {
  note_call("qbus_opc_name_get");
  switch (opcode) {
    case 0x5C2D:
      return "QBUS_OPC_VLAN_FEAT_CREATE";
    case 0x5C2E:
      return "QBUS_OPC_VLAN_FEAT_DELETE";
    default:
      return "QBUS_OPC_UNKNOWN";
  }
}
