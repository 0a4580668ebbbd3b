// The in-band driver: the VLANs whose frames the ASIC sends to the CPU.
#pragma once

#include "host/chassis/services/service_context.h"

namespace chassis {

class InbandDriver : public Service {
 public:
  explicit InbandDriver(const ServiceContext &context);

 private:
  bus::Result classify(const bus::Vlan &request, bool on);

  Fabric &fabric_;
  Journal &journal_;
};

}  // namespace chassis
