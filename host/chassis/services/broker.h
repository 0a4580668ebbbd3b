// Subscriptions: keeps the queues that subscribed to an opcode, and publishes notices to them.
#pragma once

#include <functional>
#include <map>
#include <set>

#include "host/chassis/endpoint/service.h"

namespace chassis {

class Broker : public Service {
 public:
  /// Runs after the answer to a queue's first subscription to an opcode.
  using OnSubscribed = std::function<void(std::uint32_t opcode, bus::Address queue)>;

  Broker(asio::io_context &loop, const FaultTable &faults);

  void on_subscribed(OnSubscribed handler) { on_subscribed_ = std::move(handler); }

  /// Sends a notice to every queue that subscribed to its opcode.
  void publish(std::uint32_t opcode, std::span<const std::byte> payload);

  /// Sends a notice to one queue.
  void send(bus::Address queue, std::uint32_t opcode, std::span<const std::byte> payload);

  /// Removes the daemon's subscriptions.
  void forget_daemon() override;

 private:
  void subscribe(const bus::Message &message);

  std::map<std::uint32_t, std::set<bus::Address>> subscribers_;
  OnSubscribed on_subscribed_;
};

}  // namespace chassis
