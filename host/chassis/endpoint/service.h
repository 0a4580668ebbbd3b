// The interface of every service of the platform: its address on the message bus, and its state about the
// daemon.
#pragma once

#include <string>
#include <utility>

#include "host/chassis/endpoint/endpoint.h"

namespace chassis {

class Service {
 public:
  virtual ~Service() = default;
  Service(const Service &) = delete;
  Service &operator=(const Service &) = delete;

  Endpoint &endpoint() { return endpoint_; }
  const Endpoint &endpoint() const { return endpoint_; }

  /// Called when the daemon has ended: forgets what the daemon registered and requested.
  virtual void forget_daemon() {}

 protected:
  Service(asio::io_context &loop, const FaultTable &faults, std::string name, bus::Address address)
      : endpoint_(loop, faults, std::move(name), address) {}

  Endpoint endpoint_;
};

}  // namespace chassis
