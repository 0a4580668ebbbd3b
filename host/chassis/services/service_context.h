// The parts of the chassis that a service may use; each service takes what it needs.
#pragma once

#include <asio/io_context.hpp>
#include <string>

#include "host/chassis/base/journal.h"
#include "host/chassis/endpoint/service.h"
#include "host/chassis/model/chassis_state.h"
#include "host/chassis/services/announcer.h"

namespace chassis {

struct ServiceContext {
  asio::io_context &loop;
  const FaultTable &faults;
  Journal &journal;
  const ChassisState &state;
  Fabric &fabric;
  const Announcer &announcer;
  std::string startup_uri;  ///< base URI of the startup stores
};

}  // namespace chassis
