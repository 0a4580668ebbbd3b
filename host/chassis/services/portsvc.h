// The interface manager: which interfaces exist and how their links are. Its state notices are the
// announcer's.
#pragma once

#include "host/chassis/services/service_context.h"

namespace chassis {

class InterfaceManager : public Service {
 public:
  explicit InterfaceManager(const ServiceContext &context);

 private:
  bus::InterfacePresent look_up(IfIndex index) const;

  const ChassisState &state_;
};

}  // namespace chassis
