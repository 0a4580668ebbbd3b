// The in-band driver: which VLANs' frames the ASIC sends to the CPU.
#pragma once

#include "host/chassis/asic/fabric.h"
#include "host/chassis/base/journal.h"
#include "host/chassis/endpoint/endpoint.h"

namespace chassis {

class InbandDriver {
 public:
  InbandDriver(asio::io_context &loop, const FaultTable &faults, Fabric &fabric, Journal &journal);
  Endpoint &endpoint() { return endpoint_; }

 private:
  bus::Result classify(const bus::Vlan &request, bool on);

  Endpoint endpoint_;
  Fabric &fabric_;
  Journal &journal_;
};

}  // namespace chassis
