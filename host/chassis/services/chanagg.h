// The port-channel service: which ports are members of a channel, and which member carries it.
#pragma once

#include "host/chassis/services/service_context.h"

namespace chassis {

class ChannelService : public Service {
 public:
  explicit ChannelService(const ServiceContext &context);

 private:
  bus::PortChannelInfo look_up(IfIndex index) const;

  const ChassisState &state_;
  const Announcer &announcer_;
};

}  // namespace chassis
