#include <algorithm>

#include "tests/model/model.h"

namespace model {

using standin::hex;

namespace {

constexpr size_t header_bytes = 10;
constexpr size_t buffer_bytes = 2584;
constexpr size_t shortest_frame = 60;

bool is_group(const Bytes &frame) { return (frame[0] & 1) != 0; }

void count(Counts &counts, const Bytes &frame) { ++(is_group(frame) ? counts.group : counts.unicast); }

bool is_tagged(const Bytes &frame) { return frame[12] == 0x81 && frame[13] == 0x00; }

uint16_t vlan_in(const Bytes &frame) { return static_cast<uint16_t>((frame[14] << 8 | frame[15]) & 0xfff); }

Mac mac_at(const Bytes &frame, size_t offset) {
  Mac mac;
  std::copy_n(frame.begin() + static_cast<ptrdiff_t>(offset), mac.size(), mac.begin());
  return mac;
}

/** The header of a frame to the ASIC: CE bit, tag bit, VLAN and destination. */
std::array<uint8_t, header_bytes> from_host_header(uint16_t vlan, uint32_t ports, bool is_flood) {
  std::array<uint8_t, header_bytes> header{};
  const auto set = [&](size_t byte, uint32_t bits) {
    header[byte] = static_cast<uint8_t>(header[byte] | (bits & 0xff));
  };
  set(0, (vlan & 0x3fu) << 2 | (is_flood ? 0x02u : 0u) | 0x01u);
  set(1, (ports & 0x3) << 6 | vlan >> 6);
  set(2, ports >> 2);
  set(3, ports >> 10);
  set(4, 0x40 | (ports >> 18 & 0x3));
  return header;
}

}  // namespace

/* ---- sockets ---- */

void Model::happens(const LineCardOnline &) {
  message(0x43c, [this] {
    if (!state_.relay_is_up) start_relay();
  });
}

/* @return the socket; on failure this one and the other one are closed, except in one case that leaks */
std::optional<int> Model::open_device(const char *name, int interface, std::optional<int> other) {
  const auto close = [this](int descriptor) { platform_.say("close", descriptor); };
  const std::optional<int> socket = platform_.open_socket();
  if (!socket) {
    if (other) close(*other);
    return std::nullopt;
  }
  const bool is_non_blocking =
      platform_.does("fcntl", *socket, std::string("F_GETFL")) &&
      platform_.does("fcntl", *socket, std::string("F_SETFL"), std::string("O_RDWR|O_NONBLOCK"));
  if (!is_non_blocking && !other) return std::nullopt;  // stays open
  const std::string address = "{family 17, protocol 0xf102, interface " + std::to_string(interface) + "}";
  if (is_non_blocking && platform_.does("ioctl", *socket, std::string("SIOCGIFINDEX"), name) &&
      platform_.does("bind", *socket, address, 20))
    return socket;
  if (other) close(*other);
  close(*socket);
  return std::nullopt;
}

void Model::start_relay() {
  state_.inband_socket = state_.management_socket = 0;
  const std::optional<int> inband = open_device("inb0", 5, std::nullopt);
  if (!inband) return;
  const std::optional<int> management = open_device(is_vorlund_ ? "mgmt1" : "mgmt0", 6, inband);
  if (!management) return;
  state_.inband_socket = *inband;
  state_.management_socket = *management;
  state_.relay_is_up = true;
}

/* ---- from the blades to the management module ---- */

void Model::drain_inband() {
  while (const std::optional<Bytes> got = platform_.read(state_.inband_socket, buffer_bytes, Side::inband)) {
    if (got->size() < header_bytes + shortest_frame) return;
    const Bytes frame(got->begin() + header_bytes, got->end());
    const bool has_ce = ((*got)[1] & 0x01) != 0;
    const bool says_tagged = ((*got)[2] & 0x20) != 0;
    const size_t ingress = (*got)[3] >> 6 | ((*got)[4] & 0x07u) << 2;
    if (!is_tagged(frame) || !has_ce || !says_tagged) continue;
    if (ingress >= state_.port_map.size() || !state_.port_map[ingress]) continue;
    Port &port = *port_of(*state_.port_map[ingress]);
    if (!port.carried.contains(vlan_in(frame))) continue;
    count(port.received, frame);
    const Mac source = mac_at(frame, 6);
    if (state_.learnt.contains(source) || platform_.allocates()) state_.learnt[source] = port.interface;
    to_management(frame);
  }
}

void Model::to_management(const Bytes &frame) {
  if (platform_.write(state_.management_socket, frame) != 0) count(state_.management.sent, frame);
}

/* ---- from the management module to the blades ---- */

void Model::drain_management() {
  while (const std::optional<Bytes> frame =
             platform_.read(state_.management_socket, buffer_bytes - header_bytes, Side::management)) {
    if (frame->size() < shortest_frame) return;
    if (!is_tagged(*frame) || !state_.management.carried.contains(vlan_in(*frame))) continue;
    count(state_.management.received, *frame);
    to_asic(vlan_in(*frame), *frame);
  }
}

void Model::to_asic(uint16_t number, const Bytes &frame) {
  const auto learnt = state_.learnt.find(mac_at(frame, 0));
  Port *port = is_group(frame) || learnt == state_.learnt.end() ? nullptr : port_of(learnt->second);
  if (port != nullptr && !port->forwarding.contains(number)) return;
  const Vlan *vlan = vlan_of(number);
  const uint32_t flood = vlan == nullptr ? 0xffffffff : vlan->members & vlan->forwarders;
  if (port == nullptr && flood == 0) return;
  const uint32_t ports = port != nullptr ? port->bit() : flood;

  Bytes bytes(header_bytes + frame.size());
  std::ranges::copy(from_host_header(number, ports, port == nullptr), bytes.begin());
  std::ranges::copy(frame, bytes.begin() + header_bytes);
  if (platform_.write(state_.inband_socket, bytes) == 0) return;
  if (port != nullptr) {
    count(port->sent, frame);
    return;
  }
  for (size_t asic = 0; asic < state_.port_map.size(); ++asic) {
    if ((ports >> asic & 1) != 0 && state_.port_map[asic])
      count(port_of(*state_.port_map[asic])->sent, frame);
  }
}

}  // namespace model
