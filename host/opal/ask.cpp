#include "host/opal/ask.h"

#include <cerrno>
#include <chrono>

#include "host/bus/socket.h"

namespace opal {
namespace {

/// @return the program's socket for calls, null when it cannot be bound
bus::Socket *call_socket() {
  static std::optional<bus::Socket> socket;
  std::error_code error;
  if (!socket) {
    socket = bus::Socket::bind_ephemeral(bus::run_folder(), error);
    if (socket) socket->look_out_for(std::chrono::microseconds(100));
  }
  return socket ? &*socket : nullptr;
}

rcode_t rcode_of(const std::error_code &error) {
  switch (error.value()) {
    case ETIMEDOUT:
      return RCODE_TIMED_OUT;
    case EMSGSIZE:
      return RCODE_TOO_LARGE;
    default:
      return RCODE_UNAVAILABLE;
  }
}

}  // namespace

rcode_t ask_bytes(bus::Address service, std::uint32_t opcode, bus::Bytes request, bus::Message &answer) {
  bus::Socket *socket = call_socket();
  if (socket == nullptr) return RCODE_UNAVAILABLE;
  std::error_code error;
  std::optional<bus::Message> message = socket->ask(service, opcode, request, bus::call_timeout_ms, error);
  if (!message) return rcode_of(error);
  answer = std::move(*message);
  return RCODE_SUCCESS;
}

}  // namespace opal
