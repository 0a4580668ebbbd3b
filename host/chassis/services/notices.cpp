#include "host/chassis/services/notices.h"

#include <algorithm>
#include <iterator>

#include "host/chassis/base/vlan_set.h"
#include "opal/ltlsvc.h"

namespace chassis {

namespace {

constexpr std::uint8_t mode_trunk = 2;
constexpr std::uint8_t duplex_full = 2;
constexpr std::uint16_t port_mtu = 1500;
constexpr std::uint32_t port_speed_mbit = 1000;

portsvc_l2_port_state_t encoded_record(const LinkRecord &record) {
  portsvc_l2_port_state_t state{};
  state.ifindex = record.index.value;
  state.iod = ordinal(record.index);
  state.link_state = record.up ? PORTSVC_LINK_UP : PORTSVC_LINK_DOWN;
  state.vlan_valid = 1;
  state.port_mode = mode_trunk;
  state.duplex_mode = duplex_full;
  state.mtu = port_mtu;
  state.speed = port_speed_mbit;
  state.num_active_ports = record.active_ports;
  state.vlan_up_bmp = to_record(record.vlans_up);
  state.vlan_down_bmp = to_record(record.vlans_down);
  return state;
}

ltlsvc_port_cbl_t encoded_record(const ForwardingRecord &record) {
  return {record.index.value, to_record(record.forwarding)};
}

/// Encodes the records, at most `most` in each message.
template <typename Encoded, typename Record, typename Encode>
std::vector<bus::Payload> in_messages(const std::vector<Record> &records, std::size_t most,
                                      Encode encode_wire) {
  std::vector<Encoded> encoded;
  std::transform(records.begin(), records.end(), std::back_inserter(encoded),
                 [](const Record &record) { return encoded_record(record); });
  std::vector<bus::Payload> messages;
  for (std::span<const Encoded> rest(encoded); !rest.empty();) {
    const std::size_t count = std::min(most, rest.size());
    messages.push_back(encode_wire(rest.first(count)));
    rest = rest.subspan(count);
  }
  return messages;
}

}  // namespace

std::vector<bus::Payload> encode(const std::vector<LinkRecord> &records) {
  constexpr std::size_t most =
      (bus::payload_limit - sizeof(portsvc_l2_state_change_t)) / sizeof(portsvc_l2_port_state_t);
  return in_messages<portsvc_l2_port_state_t>(records, most, bus::encode_l2_state_change);
}

std::vector<bus::Payload> encode(const std::vector<ForwardingRecord> &records) {
  constexpr std::size_t most = (bus::payload_limit - LTLSVC_CBL_ENTRIES_OFFSET) / LTLSVC_CBL_ENTRY_BYTES;
  return in_messages<ltlsvc_port_cbl_t>(records, most, bus::encode_cbl_change);
}

}  // namespace chassis
