// The shell's end of the message bus: sends a request to a service or a program, and waits for the answer
// with a timeout.
//
// The sentence of a failure says who did not answer and why.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

#include "host/bus/codec.h"
#include "host/bus/socket.h"

namespace shell {

/// How long a program may take to answer a command.
inline constexpr int answer_timeout_ms = 2000;

/// How long a service may take that asks a program itself with a timeout of 2 s.
inline constexpr int relayed_timeout_ms = 3000;

class BusClient {
 public:
  /// @param run_folder run-time folder of the chassis (host/bus/socket.h)
  static host::Result<BusClient> open(const std::filesystem::path &run_folder);

  /// @param who for messages: "the supervisor"
  host::Result<opal::bus::Payload> ask(opal::bus::Address destination, std::uint32_t opcode,
                                       const opal::bus::Payload &payload, const std::string &who,
                                       int timeout_ms = answer_timeout_ms);

  /// Queue of the program that registered a parse tree.
  host::Result<opal::bus::Address> server_of(const std::string &tree);

 private:
  explicit BusClient(opal::bus::Socket socket) : socket_(std::move(socket)) {}
  opal::bus::Socket socket_;
};

}  // namespace shell
