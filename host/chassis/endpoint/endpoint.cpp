#include "host/chassis/endpoint/endpoint.h"

#include <fmt/format.h>

namespace chassis {

namespace {

// Other descriptors of the loop get their turn after so many messages.
constexpr int messages_per_turn = 64;

}  // namespace

Endpoint::Endpoint(asio::io_context &loop, const FaultTable &faults, std::string name, bus::Address address)
    : loop_(loop), faults_(faults), name_(std::move(name)), address_(address) {}

Endpoint::~Endpoint() {
  if (readable_) readable_->release();  // the socket closes the descriptor
}

host::Result<> Endpoint::bind(const std::filesystem::path &run_folder) {
  host::Result<bus::Socket> socket = bus::Socket::bind(run_folder, address_);
  if (!socket) {
    const std::error_code cause = socket.error().cause;
    return host::failure(cause, fmt::format("the service {} cannot bind its address in {}: {}", name_,
                                            (run_folder / "bus").string(), cause.message()));
  }
  socket_ = std::move(*socket);
  readable_.emplace(loop_, socket_->fd());
  wait_for_messages();
  return {};
}

void Endpoint::serve_messages(std::uint32_t opcode, std::string fault, Handler handler) {
  rows_.insert_or_assign(opcode, Row{std::move(fault), std::move(handler)});
}

void Endpoint::wait_for_messages() {
  readable_->async_wait(asio::posix::stream_descriptor::wait_read,
                        [this, alive = std::weak_ptr(alive_)](const std::error_code &error) {
                          if (error || alive.expired()) return;
                          take_messages();
                          wait_for_messages();
                        });
}

void Endpoint::take_messages() {
  for (int turn = 0; turn < messages_per_turn; ++turn) {
    const host::Result<bus::Message> message = socket_->receive();
    if (!message) return;
    if (message->kind == bus::Kind::response) {
      take_response(*message);
    } else {
      dispatch(*message);
    }
  }
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
  auto timer = std::make_shared<asio::steady_timer>(loop_, delay);
  timer->async_wait([this, timer, alive = std::weak_ptr(alive_), message = std::move(message),
                     &row](const std::error_code &error) {
    if (error || alive.expired()) return;
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
  auto timer = std::make_unique<Timer>(loop_);
  timer->set(taken ? bound : std::chrono::milliseconds{0}, [this, token] { finish(token, nullptr); });
  waiting_.insert_or_assign(token, Waiting{whom, opcode, std::move(on_answer), std::move(timer)});
}

void Endpoint::give_up_waiting() {
  while (!waiting_.empty()) finish(waiting_.begin()->first, nullptr);
}

void Endpoint::take_response(const bus::Message &message) {
  const auto found = waiting_.find(message.token);
  if (found == waiting_.end() || found->second.whom != message.source ||
      found->second.opcode != message.opcode) {
    ++counters_.malformed;
    return;
  }
  finish(message.token, &message);
}

void Endpoint::finish(std::uint32_t token, const bus::Message *response) {
  const auto found = waiting_.find(token);
  if (found == waiting_.end()) return;
  const OnAnswer on_answer = std::move(found->second.on_answer);
  waiting_.erase(found);
  on_answer(response);
}

}  // namespace chassis
