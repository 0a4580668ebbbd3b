#include "host/chassis/services/platform_services.h"

#include "host/chassis/services/board.h"
#include "host/chassis/services/capreg.h"
#include "host/chassis/services/chanagg.h"
#include "host/chassis/services/cush_registry.h"
#include "host/chassis/services/kinb.h"
#include "host/chassis/services/ltlsvc.h"
#include "host/chassis/services/portsvc.h"
#include "host/chassis/services/rcgen.h"
#include "host/chassis/services/vlan_mgr.h"

namespace chassis {
namespace {

using MakeService = std::unique_ptr<Service> (*)(const ServiceContext &context);

template <typename Kind>
std::unique_ptr<Service> make(const ServiceContext &context) {
  return std::make_unique<Kind>(context);
}

/// Every service, in the order in which `chassis status` lists them.
constexpr MakeService table[] = {
    make<BoardService>,   make<InterfaceManager>, make<PortIndexService>,
    make<ChannelService>, make<InbandDriver>,     make<FeatureRegistry>,
    make<VlanManager>,    make<CushRegistry>,     make<ConfigGenerator>,
};

}  // namespace

PlatformServices::PlatformServices(const ServiceContext &context) {
  for (const MakeService make_service : table) services_.push_back(make_service(context));
}

}  // namespace chassis
