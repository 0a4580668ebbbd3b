// The port-index service: destination indexes of ports, and the LTLs of VLANs. The announcer sends its CBL
// notices. (docs/glossary.md explains LTL and CBL.)
#pragma once

#include "host/chassis/services/service_context.h"

namespace chassis {

class PortIndexService : public Service {
 public:
  explicit PortIndexService(const ServiceContext &context);

 private:
  bus::DestinationIndex destination_index(IfIndex index) const;
  bus::LtlAnswer allocate(const bus::LtlRequest &request);
  bus::LtlAnswer release(const bus::LtlRequest &request);

  const ChassisState &state_;
  Fabric &fabric_;
  Journal &journal_;
};

}  // namespace chassis
