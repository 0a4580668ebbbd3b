// The shell's registry: which program serves the commands of which parse tree.
#pragma once

#include <map>
#include <set>

#include "host/chassis/endpoint/endpoint.h"

namespace chassis {

class CushRegistry {
 public:
  CushRegistry(asio::io_context &loop, const FaultTable &faults);

  /// The program behind a queue is gone.
  void forget(bus::Address queue);

  Endpoint &endpoint() { return endpoint_; }

 private:
  bus::Result register_tree(const bus::Registration &request);
  bus::Payload list() const;

  Endpoint endpoint_;
  std::map<std::string, bus::Address> trees_;
  std::set<bus::Address> backends_;
};

}  // namespace chassis
