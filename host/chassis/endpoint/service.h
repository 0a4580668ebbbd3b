// What every service of the platform is: a place on the message bus, and what it remembers of the daemon.
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

  /// The daemon has ended: forgets what it registered and asked for.
  virtual void forget_daemon() {}

 protected:
  Service(asio::io_context &loop, const FaultTable &faults, std::string name, bus::Address address)
      : endpoint_(loop, faults, std::move(name), address) {}

  Endpoint endpoint_;
};

}  // namespace chassis
