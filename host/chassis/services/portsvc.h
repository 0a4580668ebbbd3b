// The interface manager: which interfaces exist and how their links are. Its state notices are the
// announcer's.
#pragma once

#include "host/chassis/endpoint/endpoint.h"
#include "host/chassis/model/chassis_state.h"

namespace chassis {

class InterfaceManager {
 public:
  InterfaceManager(asio::io_context &loop, const FaultTable &faults, const ChassisState &state);
  Endpoint &endpoint() { return endpoint_; }

 private:
  bus::InterfacePresent look_up(IfIndex index) const;

  Endpoint endpoint_;
  const ChassisState &state_;
};

}  // namespace chassis
