#include "host/chassis/services/broker.h"

namespace chassis {

Broker::Broker(asio::io_context &loop, const FaultTable &faults)
    : Service(loop, faults, "broker", bus::address::broker) {
  endpoint_.serve_messages(bus::opcode::subscribe, "qbus-subscribe",
                           [this](const bus::Message &message) { subscribe(message); });
}

void Broker::subscribe(const bus::Message &message) {
  const auto request = record_in<bus::Subscription>(message);
  if (!request) return endpoint_.answer_malformed(message);
  const bool is_new = subscribers_[request->opcode].insert(request->queue).second;
  endpoint_.answer_result(message, RCODE_SUCCESS);
  if (is_new && on_subscribed_) on_subscribed_(request->opcode, request->queue);
}

void Broker::publish(std::uint32_t opcode, std::span<const std::byte> payload) {
  const auto found = subscribers_.find(opcode);
  if (found == subscribers_.end()) return;
  for (const bus::Address queue : found->second) send(queue, opcode, payload);
}

void Broker::send(bus::Address queue, std::uint32_t opcode, std::span<const std::byte> payload) {
  endpoint_.send_notice(queue, opcode, payload);
}

void Broker::forget_daemon() {
  for (auto &[opcode, queues] : subscribers_) queues.erase(bus::address::tesk);
}

}  // namespace chassis
