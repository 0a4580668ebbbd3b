// Synchronous calls of the platform's services: one request, one answer, at most bus::call_timeout_ms.
//
// The calls share one socket of their own, bound at the first call, so that answers never mix with the
// messages that wait in the program's queue. A service that is absent, slow or talks nonsense yields a
// result code: RCODE_UNAVAILABLE, RCODE_TIMED_OUT or RCODE_CORRUPT.
#pragma once

#include "host/bus/codec.h"
#include "opal/rcode.h"

namespace opal {

/// @param answer filled when the result is 0
rcode_t ask_bytes(bus::Address service, std::uint32_t opcode, bus::Bytes request, bus::Message &answer);

/// Asks for a record that begins with a result code.
/// @param answer filled when the service's own result code, which is returned, is 0
template <typename Answer>
rcode_t ask(bus::Address service, std::uint32_t opcode, bus::Bytes request, Answer &answer) {
  bus::Message message;
  if (const rcode_t rcode = ask_bytes(service, opcode, request, message); rcode != RCODE_SUCCESS)
    return rcode;
  const std::optional<Answer> record = bus::record_of<Answer>(message.payload);
  if (!record) {
    // A service that refuses may answer with the bare result code.
    const std::optional<bus::Result> refusal = bus::record_of<bus::Result>(message.payload);
    return refusal && refusal->rcode != RCODE_SUCCESS ? refusal->rcode : rcode_t{RCODE_CORRUPT};
  }
  if (record->rcode == RCODE_SUCCESS) answer = *record;
  return record->rcode;
}

/// Asks for nothing but a result code.
inline rcode_t ask(bus::Address service, std::uint32_t opcode, bus::Bytes request) {
  bus::Result result{};
  return ask(service, opcode, request, result);
}

}  // namespace opal
