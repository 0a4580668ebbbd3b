#include "host/shell/bus_client.h"

#include <fmt/format.h>

namespace shell {
namespace {

using namespace opal;

std::string reason(const std::error_code &error, int timeout_ms) {
  if (error == std::errc::timed_out) {
    return fmt::format("did not answer within {} s", timeout_ms / 1000);
  }
  if (error == std::errc::connection_refused) {
    return "is not running";
  }
  if (error == std::errc::no_buffer_space) {
    return "accepts no more messages: its queue is full";
  }
  return fmt::format("cannot be reached: {}", error.message());
}

}  // namespace

host::Result<BusClient> BusClient::open(const std::filesystem::path &run_folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(run_folder / "bus", error)) {
    return host::failure(
        fmt::format("There is no chassis here ({} does not exist); start one with `chassis run`, or "
                    "name a running one with --name.",
                    (run_folder / "bus").string()));
  }
  host::Result<bus::Socket> socket = bus::Socket::bind_ephemeral(run_folder);
  if (!socket) {
    const std::error_code cause = socket.error().cause;
    return host::failure(cause, fmt::format("The message bus in {} cannot be used: {}.",
                                            (run_folder / "bus").string(), cause.message()));
  }
  return BusClient(std::move(*socket));
}

host::Result<bus::Payload> BusClient::ask(bus::Address destination, std::uint32_t opcode,
                                          const bus::Payload &payload, const std::string &who,
                                          int timeout_ms) {
  host::Result<bus::Message> answer = socket_.ask(destination, opcode, payload, timeout_ms);
  if (!answer) {
    const std::error_code cause = answer.error().cause;
    return host::failure(cause, fmt::format("{} {}.", who, reason(cause, timeout_ms)));
  }
  return std::move(answer->payload);
}

host::Result<bus::Address> BusClient::server_of(const std::string &tree) {
  auto answer = ask(bus::address::cush, bus::opcode::list_parse_trees, {}, "The registry of commands");
  if (!answer) {
    return failed(std::move(answer));
  }
  const auto trees = bus::decode_parse_trees(*answer);
  if (!trees) {
    return host::failure("The registry of commands sent a malformed answer.");
  }
  for (const bus::ParseTree &registered : *trees) {
    if (bus::text_of(registered.name) == tree) {
      return registered.server;
    }
  }
  return host::failure(fmt::format("No program serves this command: \"{}\" has not registered.", tree));
}

}  // namespace shell
