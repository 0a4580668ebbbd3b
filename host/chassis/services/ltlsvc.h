// The port-index service: destination indexes of ports, and the LTLs of VLANs. Its CBL notices are the
// announcer's.
#pragma once

#include "host/chassis/base/journal.h"
#include "host/chassis/endpoint/endpoint.h"
#include "host/chassis/model/chassis_state.h"

namespace chassis {

class PortIndexService {
 public:
  PortIndexService(asio::io_context &loop, const FaultTable &faults, const ChassisState &state,
                   Fabric &fabric, Journal &journal);
  Endpoint &endpoint() { return endpoint_; }

 private:
  bus::DestinationIndex destination_index(IfIndex index) const;
  bus::LtlAnswer allocate(const bus::LtlRequest &request);
  bus::LtlAnswer release(const bus::LtlRequest &request);

  Endpoint endpoint_;
  const ChassisState &state_;
  Fabric &fabric_;
  Journal &journal_;
};

}  // namespace chassis
