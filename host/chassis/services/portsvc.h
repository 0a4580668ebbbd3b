// The interface manager: which interfaces exist, and the state of their links. The announcer sends its state
// notices.
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
