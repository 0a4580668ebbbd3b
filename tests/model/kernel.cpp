#include "tests/model/model.h"

namespace model {

namespace {

/** The device's limits. */
constexpr size_t most_ports = 21;
constexpr size_t most_vlans = 15;
constexpr size_t most_vlans_of_a_port = 15;

DevicePort record_of(const Port &port) {
  DevicePort record{port.type, port.asic, {}};
  for (const uint16_t vlan : port.carried) {
    if (record.vlans.size() == most_vlans_of_a_port) break;
    record.vlans.emplace_back(vlan, port.forwarding.contains(vlan));
  }
  return record;
}

}  // namespace

void Model::mark(Port &port) {
  if (!port.is_dirty) ++state_.dirty_ports;
  port.is_dirty = true;
}

void Model::mark(Vlan &vlan) {
  if (!vlan.is_dirty) ++state_.dirty_vlans;
  vlan.is_dirty = true;
}

/* A refused push of ports counts as delivered. */
bool Model::push(const std::vector<Port *> &ports) {
  if (ports.size() > most_ports) return false;
  std::vector<std::pair<uint32_t, DevicePort>> records;
  for (Port *port : ports) {
    records.emplace_back(port->interface, record_of(*port));
    port->is_dirty = false;
  }
  platform_.push_ports(records);
  return true;
}

bool Model::push(const std::vector<Vlan *> &vlans) {
  if (vlans.size() > most_vlans) return false;
  std::vector<std::pair<uint16_t, uint32_t>> records;
  for (Vlan *vlan : vlans) {
    records.emplace_back(vlan->number, vlan->members & vlan->forwarders);
    vlan->is_dirty = false;
  }
  return platform_.push_vlans(records);
}

bool Model::synchronise_ports() {
  std::vector<Port *> dirty;
  each(state_.ports, [&](PortEntry &entry) {
    if (entry.port && entry.port->is_dirty) dirty.push_back(&*entry.port);
  });
  if (!push(dirty)) return false;
  state_.dirty_ports = 0;
  return true;
}

void Model::synchronise() {
  if (state_.dirty_ports != 0 && !synchronise_ports()) return;
  if (state_.dirty_vlans == 0) return;
  std::vector<Vlan *> dirty;
  each(state_.vlans, [&](Vlan &vlan) {
    if (vlan.is_dirty) dirty.push_back(&vlan);
  });
  if (push(dirty)) state_.dirty_vlans = 0;
}

}  // namespace model
