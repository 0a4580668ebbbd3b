// The report of `chassis status` as one JSON object. The tables for people are made from the same object.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "host/chassis/kernel_module/klm_device.h"
#include "host/chassis/model/chassis_state.h"
#include "host/chassis/services/capreg.h"
#include "host/chassis/services/vlan_mgr.h"
#include "host/chassis/supervisor/supervisor.h"

namespace chassis {

/// Everything that a report reads.
struct ReportSources {
  const ChassisState &state;
  const Fabric &fabric;
  const KlmDevice &klm;
  const Supervisor &supervisor;
  const FeatureRegistry &features;
  const VlanManager &vlan_manager;
  const FaultTable &faults;
  const std::vector<Service *> &services;
};

nlohmann::json report(const ReportSources &sources);

}  // namespace chassis
