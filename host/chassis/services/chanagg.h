// The port-channel service: who belongs to a channel, and which member carries it.
#pragma once

#include "host/chassis/endpoint/endpoint.h"
#include "host/chassis/services/announcer.h"

namespace chassis {

class ChannelService {
 public:
  ChannelService(asio::io_context &loop, const FaultTable &faults, const ChassisState &state,
                 const Announcer &announcer);
  Endpoint &endpoint() { return endpoint_; }

 private:
  bus::PortChannelInfo look_up(IfIndex index) const;

  Endpoint endpoint_;
  const ChassisState &state_;
  const Announcer &announcer_;
};

}  // namespace chassis
