#include "host/chassis/services/announcer.h"

namespace chassis {

namespace {

LinkRecord up_record(IfIndex index, const VlanSet &up, std::size_t members) {
  return {.index = index,
          .up = true,
          .vlans_up = up,
          .vlans_down = {},
          .active_ports = members == 0 ? 1U : static_cast<std::uint32_t>(members)};
}

LinkRecord down_record(IfIndex index, const VlanSet &was_up) {
  return {.index = index, .up = false, .vlans_up = {}, .vlans_down = was_up, .active_ports = 0};
}

}  // namespace

Announcer::Announcer(const ChassisState &state, Broker &broker)
    : state_(state), broker_(broker), published_(present()) {}

Announcer::View Announcer::present() const {
  View view;
  for (const auto &[number, port] : state_.ports()) {
    if (port.link_up && !port.channel)
      view.emplace(port.index, Published{port.vlans.up, port.vlans.forwarding, {}});
  }
  for (const auto &[number, channel] : state_.channels()) {
    std::vector<IfIndex> members;
    for (const Port *member : state_.operational_ports(channel.index)) members.push_back(member->index);
    if (members.empty()) continue;
    view.emplace(channel.index, Published{channel.vlans.up, channel.vlans.forwarding, std::move(members)});
  }
  return view;
}

void Announcer::send_present_state(std::uint32_t opcode, bus::Address queue) {
  const View now = present();
  if (opcode == QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE) {
    std::vector<LinkRecord> records;
    for (const auto &[index, told] : now) records.push_back(up_record(index, told.up, told.members.size()));
    for (const bus::Payload &payload : encode(records)) broker_.send(queue, opcode, payload);
  } else if (opcode == QBUS_OPC_LTLSVC_CBL_CHANGE) {
    std::vector<ForwardingRecord> records;
    for (const auto &[index, told] : now) records.push_back({index, told.forwarding});
    for (const bus::Payload &payload : encode(records)) broker_.send(queue, opcode, payload);
  } else if (opcode == QBUS_OPC_LC_ONLINE && state_.line_card_online()) {
    broker_.send(queue, opcode, {});
  }
}

void Announcer::publish_changes() {
  View now = present();
  for (const bus::Payload &payload : encode(link_changes(now))) {
    broker_.publish(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE, payload);
  }
  for (const bus::Payload &payload : encode(forwarding_changes(now))) {
    broker_.publish(QBUS_OPC_LTLSVC_CBL_CHANGE, payload);
  }
  remember_members(now);
  published_ = std::move(now);
}

void Announcer::publish_line_card_online() { broker_.publish(QBUS_OPC_LC_ONLINE, {}); }

std::vector<IfIndex> Announcer::members_before_down(IfIndex channel) const {
  const auto found = gone_down_.find(channel);
  return found == gone_down_.end() ? std::vector<IfIndex>{} : found->second;
}

// Everything that goes down is published before anything that comes up: a port that joins a channel must be
// down before the channel takes its place.
std::vector<LinkRecord> Announcer::link_changes(const View &now) const {
  std::vector<LinkRecord> records;
  for (const auto &[index, told] : published_) {
    if (went_down(index, now)) records.push_back(down_record(index, told.up));
  }
  for (const auto &[index, present] : now) {
    if (came_up(index, now)) {
      records.push_back(up_record(index, present.up, present.members.size()));
    } else if (const VlanSet &before = published_.at(index).up; before != present.up) {
      records.push_back(up_record(index, present.up, present.members.size()));
      records.back().vlans_down = before & ~present.up;
    }
  }
  return records;
}

std::vector<ForwardingRecord> Announcer::forwarding_changes(const View &now) const {
  std::vector<ForwardingRecord> records;
  for (const auto &[index, present] : now) {
    if (came_up(index, now) || published_.at(index).forwarding != present.forwarding) {
      records.push_back({index, present.forwarding});
    }
  }
  return records;
}

bool Announcer::came_up(IfIndex index, const View &now) const {
  const auto before = published_.find(index);
  return before == published_.end() || before->second.members != now.at(index).members;
}

bool Announcer::went_down(IfIndex index, const View &now) const {
  const auto after = now.find(index);
  return after == now.end() || after->second.members != published_.at(index).members;
}

void Announcer::remember_members(const View &now) {
  for (const auto &[index, told] : published_) {
    if (!told.members.empty() && !now.contains(index)) gone_down_.insert_or_assign(index, told.members);
  }
  for (const auto &[index, present] : now) gone_down_.erase(index);
}

}  // namespace chassis
