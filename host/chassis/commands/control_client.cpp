#include "host/chassis/commands/control_client.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "host/bus/codec.h"
#include "host/bus/socket.h"
#include "host/chassis/sandbox/sandbox_entry.h"

namespace chassis {

namespace {

namespace bus = opal::bus;
using nlohmann::json;

host::Result<json> exchange(const json &request, std::chrono::milliseconds bound) {
  const auto folder = bus::run_folder();
  auto socket = bus::Socket::bind_ephemeral(folder);
  if (!socket) {
    return host::failure(fmt::format("cannot join the message bus in {}: {}; is the chassis running?",
                                     (folder / "bus").string(), socket.error().cause.message()));
  }
  const std::string text = request.dump();
  const auto response = socket->ask(bus::address::control, bus::opcode::control, bus::bytes_of_text(text),
                                    static_cast<int>(bound.count()));
  if (!response) {
    return host::failure(fmt::format("no chassis answers on the message bus in {}: {}",
                                     (folder / "bus").string(), response.error().cause.message()));
  }
  return json::parse(bus::text_of_bytes(response->payload), nullptr, false);
}

}  // namespace

host::Result<json> ask_chassis(const std::string &name, const json &request,
                               std::chrono::milliseconds bound) {
  if (host::Result<> entered = enter_sandbox(name); !entered) return failed(std::move(entered));
  host::Result<json> answer = exchange(request, bound);
  if (!answer) return answer;
  if (!answer->is_object() || !answer->contains("ok"))
    return host::failure("the chassis's answer cannot be parsed; does the chassis have another version?");
  if (!(*answer)["ok"].get<bool>())
    return host::failure(answer->value("error", "the chassis refused the request"));
  return answer;
}

}  // namespace chassis
