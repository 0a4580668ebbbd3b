// Synchronous calls to the platform's services: one request, one answer, at most bus::call_timeout_ms.
//
// The calls share one socket of their own, bound at the first call, so that answers never mix with the
// messages that wait in the program's queue. A failure's cause is a result code (rcode_cause.h): the service's
// own, or RCODE_UNAVAILABLE, RCODE_TIMED_OUT or RCODE_CORRUPT when the service is absent, does not answer in
// time, or sends a malformed answer.
#pragma once

#include "host/bus/codec.h"
#include "host/opal/rcode_cause.h"

namespace opal {

host::Result<bus::Message> ask_bytes(bus::Address service, std::uint32_t opcode, bus::Bytes request);

/// Asks for a record that begins with a result code; bus::Result when the answer is only a result code.
template <typename Answer = bus::Result>
host::Result<Answer> ask(bus::Address service, std::uint32_t opcode, bus::Bytes request) {
  host::Result<bus::Message> message = ask_bytes(service, opcode, request);
  if (!message) return failed(std::move(message));
  const std::optional<Answer> record = bus::record_of<Answer>(message->payload);
  if (!record) {
    // A service that refuses may answer with the bare result code.
    const std::optional<bus::Result> refusal = bus::record_of<bus::Result>(message->payload);
    return refused(refusal && refusal->rcode != RCODE_SUCCESS ? refusal->rcode : rcode_t{RCODE_CORRUPT});
  }
  if (record->rcode != RCODE_SUCCESS) return refused(record->rcode);
  return *record;
}

}  // namespace opal
