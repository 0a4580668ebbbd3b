/* Messages: what reaches the daemon's queue, and what it sends.
 *
 * A test makes a message and either hands it to a handler (hold) or queues it for qbus_recv. A message
 * that was received has to be dropped once, and so has the reply reference of every send; a reference
 * that is still held when the test ends fails it. The payload's bytes end where the payload ends, so
 * that a sanitizer sees a read beyond. */
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "opal/qbus.h"
#include "tests/platform/system.h"

namespace standin {

/** Bytes in the making, in host byte order. */
class Payload {
 public:
  Payload &u8(uint8_t value) { return raw(value); }
  Payload &u16(uint16_t value) { return raw(value); }
  Payload &u32(uint32_t value) { return raw(value); }
  Payload &zeros(size_t count);
  Payload &bytes(const Bytes &more);

  /** Any plain record as it lies in memory. */
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

/** A message as a handler gets it; it is the test's and need not be dropped. */
qbus_msg_ref_t hold(Message message);

/** The message that the next qbus_recv takes. */
void queue(Message message);

/** Messages that wait for qbus_recv. */
size_t queued_messages();

/** The message behind a reference; aborts the test program for one that is not held. */
const Message &message_of(const qbus_msg_ref_t *reference);

/** A reply reference with a fresh token, as a send makes it; it has to be dropped. */
qbus_msg_ref_t request_reference(uint32_t token);

/** The platform itself releases a received message. */
void release(const qbus_msg_ref_t *reference);

/** The token that the next request without a scripted one gets; they count up from 1000. */
uint32_t next_token();

void reset_messages();
void verify_messages();

}  // namespace standin
