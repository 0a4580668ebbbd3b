/* Messages: what reaches the daemon's queue, and what it sends.
 *
 * A test makes a message and either hands it to a handler (hold) or queues it for qbus_recv. Each received
 * message has to be dropped once, and so has the reply reference of each send. A reference that is still
 * held when the test ends fails it. The memory block ends with the payload, so that a sanitizer detects a
 * read beyond its end. */
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "opal/qbus.h"
#include "tests/standin/system.h"

namespace standin {

/** Builds the bytes of a payload, in host byte order. */
class Payload {
 public:
  Payload &u8(uint8_t value) { return raw(value); }
  Payload &u16(uint16_t value) { return raw(value); }
  Payload &u32(uint32_t value) { return raw(value); }
  Payload &zeros(size_t count);
  Payload &bytes(const Bytes &more);

  /** Appends a plain record as it is in memory. */
  template <class Record>
  Payload &raw(const Record &value) {
    const auto *start = reinterpret_cast<const uint8_t *>(&value);
    bytes_.insert(bytes_.end(), start, start + sizeof value);
    return *this;
  }

  operator Bytes() const { return bytes_; }  // NOLINT: a payload is its bytes

 private:
  Bytes bytes_;
};

/** One message. */
struct Message {
  uint32_t opcode = 0;
  Bytes payload = {};
  bool is_response = false;
  uint32_t token = 0;
};

/** Holds a message for a call of a handler. It belongs to the test and need not be dropped. */
qbus_msg_ref_t hold(Message message);

/** Queues a message for qbus_recv. */
void queue(Message message);

/** Number of messages that wait for qbus_recv. */
size_t queued_messages();

/** The message that a reference names. Aborts the test program if the reference is not held. */
const Message &message_of(const qbus_msg_ref_t *reference);

/** Makes a reply reference with this token, as a send does. It has to be dropped. */
qbus_msg_ref_t request_reference(uint32_t token);

/** Releases a received message on the platform's behalf. */
void release(const qbus_msg_ref_t *reference);

/** The token of the next request for which none is scripted. Tokens count up from 1000. */
uint32_t next_token();

void reset_messages();
void verify_messages();

}  // namespace standin
