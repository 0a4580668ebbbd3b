#include "host/chassis/services/chanagg.h"

#include <algorithm>

namespace chassis {

namespace {

bus::PortChannelInfo channel_info(const std::vector<IfIndex> &members, IfIndex first_operational) {
  bus::PortChannelInfo answer{};
  answer.info.fop_ifindex = first_operational.value;
  answer.info.member_count = static_cast<std::uint32_t>(std::min(members.size(), channel_members_max));
  std::transform(members.begin(), members.begin() + answer.info.member_count, answer.info.member,
                 [](IfIndex member) { return member.value; });
  return answer;
}

}  // namespace

ChannelService::ChannelService(const ServiceContext &context)
    : Service(context.loop, context.faults, "chanagg", bus::address::chanagg),
      state_(context.state),
      announcer_(context.announcer) {
  endpoint_.serve<bus::Interface>(bus::opcode::port_channel_info, "chanagg",
                                  [this](const bus::Interface &request, const bus::Message &) {
                                    return look_up(IfIndex{request.if_index});
                                  });
}

bus::PortChannelInfo ChannelService::look_up(IfIndex index) const {
  if (const auto before = announcer_.members_before_down(index); !before.empty()) {
    return channel_info(before, before.front());
  }
  const Channel *channel = state_.channel(index);
  if (channel == nullptr) return {RCODE_NOT_FOUND, {}};
  std::vector<IfIndex> members;
  for (const FrontPort member : channel->members) members.push_back(state_.ports().at(member).index);
  const auto operational = state_.operational_ports(index);
  return channel_info(members, operational.empty() ? IfIndex{0} : operational.front()->index);
}

}  // namespace chassis
