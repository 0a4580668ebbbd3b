#include "host/chassis/endpoint/endpoint.h"

#include <fmt/format.h>

namespace chassis {

Endpoint::Endpoint(asio::io_context &loop, const FaultTable &faults, std::string name, bus::Address address)
    : loop_(loop), faults_(faults), name_(std::move(name)), address_(address), waiting_(loop) {}

host::Result<> Endpoint::bind(const std::filesystem::path &run_folder) {
  host::Result<bus::Socket> socket = bus::Socket::bind(run_folder, address_);
  if (!socket) {
    const std::error_code cause = socket.error().cause;
    return host::failure(cause, fmt::format("the service {} cannot bind its address in {}: {}", name_,
                                            (run_folder / "bus").string(), cause.message()));
  }
  socket_ = std::move(*socket);
  watch_.emplace(loop_, socket_->fd(), [this] { return take_message(); });
  return {};
}

void Endpoint::serve_messages(std::uint32_t opcode, std::string fault, Handler handler) {
  rows_.insert_or_assign(opcode, Row{std::move(fault), std::move(handler)});
}

ReadResult Endpoint::take_message() {
  const host::Result<bus::Message> message = socket_->receive();
  if (!message) return ReadResult::nothing;
  if (message->kind == bus::Kind::response) {
    take_response(*message);
  } else {
    dispatch(*message);
  }
  return ReadResult::taken;
}

void Endpoint::dispatch(const bus::Message &message) {
  const auto row = rows_.find(message.opcode);
  if (row == rows_.end()) {
    ++counters_.unknown_opcode;
    return answer_result(message, RCODE_INVALID);
  }
  const Fault fault = faults_.of(row->second.fault);
  if (fault.mode != FaultMode::normal) {
    ++counters_.faulted;
    if (fault.mode == FaultMode::refuse) answer_result(message, RCODE_REFUSED);
    return;
  }
  if (fault.delay.count() > 0) return dispatch_later(message, row->second, fault.delay);
  ++counters_.taken;
  row->second.handler(message);
}

void Endpoint::dispatch_later(bus::Message message, const Row &row, std::chrono::milliseconds delay) {
  const auto timer = delayed_.emplace(delayed_.end(), loop_);
  timer->set(delay, [this, timer, message = std::move(message), &row] {
    delayed_.erase(timer);
    ++counters_.taken;
    row.handler(message);
  });
}

void Endpoint::answer(const bus::Message &request, std::span<const std::byte> payload) {
  if (request.kind != bus::Kind::request) return;
  if (!socket_->send(request.source, bus::Kind::response, request.opcode, request.token, payload)) {
    ++counters_.not_sent;
  }
}

void Endpoint::answer_result(const bus::Message &request, rcode_t rcode) {
  answer(request, bus::bytes_of(bus::Result{rcode}));
}

void Endpoint::answer_malformed(const bus::Message &request) {
  ++counters_.malformed;
  answer_result(request, RCODE_INVALID);
}

bool Endpoint::send_notice(bus::Address to, std::uint32_t opcode, std::span<const std::byte> payload) {
  const bool taken = socket_->send(to, bus::Kind::notice, opcode, 0, payload).has_value();
  if (!taken) ++counters_.not_sent;
  return taken;
}

void Endpoint::ask(bus::Address whom, std::uint32_t opcode, std::span<const std::byte> payload,
                   std::chrono::milliseconds bound, OnAnswer on_answer) {
  const std::uint32_t token = next_token_++;
  const bool taken = socket_->send(whom, bus::Kind::request, opcode, token, payload).has_value();
  if (!taken) ++counters_.not_sent;
  waiting_.add({token, whom, opcode}, taken ? bound : std::chrono::milliseconds{0}, std::move(on_answer));
}

void Endpoint::give_up_waiting() { waiting_.give_up_all(); }

void Endpoint::take_response(const bus::Message &message) {
  const bool waited_for = waiting_.answer({message.token, message.source, message.opcode}, &message);
  if (!waited_for) ++counters_.malformed;
}

}  // namespace chassis
