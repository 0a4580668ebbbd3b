#include "host/opal/ask.h"

#include <cerrno>
#include <chrono>

#include "host/bus/socket.h"

namespace opal {
namespace {

/// @return the program's socket for calls, null when it cannot be bound
bus::Socket *call_socket() {
  static std::optional<bus::Socket> socket;
  if (!socket) {
    host::Result<bus::Socket> bound = bus::Socket::bind_ephemeral(bus::run_folder());
    if (!bound) return nullptr;
    socket = std::move(*bound);
    socket->busy_poll_for(std::chrono::microseconds(100));
  }
  return &*socket;
}

rcode_t rcode_of_cause(std::error_code cause) {
  switch (cause.value()) {
    case ETIMEDOUT:
      return RCODE_TIMED_OUT;
    case EMSGSIZE:
      return RCODE_TOO_LARGE;
    default:
      return RCODE_UNAVAILABLE;
  }
}

}  // namespace

host::Result<bus::Message> ask_bytes(bus::Address service, std::uint32_t opcode, bus::Bytes request) {
  bus::Socket *socket = call_socket();
  if (socket == nullptr) return refused(RCODE_UNAVAILABLE);
  host::Result<bus::Message> message = socket->ask(service, opcode, request, bus::call_timeout_ms);
  if (!message) return refused(rcode_of_cause(message.error().cause));
  return message;
}

}  // namespace opal
