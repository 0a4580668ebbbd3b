/* What the daemon knows, in the model's own terms.
 *
 * Ports and VLANs are kept in the order in which the daemon walks them: 32 chains by number, the newest
 * entry first. Everything else is a plain map or set: the order of learnt addresses cannot be observed. */
#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <vector>

#include "tests/model/platform.h"

namespace model {

using Mac = std::array<uint8_t, 6>;

constexpr uint16_t sol_vlan = 4095;
constexpr uint32_t no_token = 0xffffffff;

struct Counts {
  uint32_t unicast = 0;
  uint32_t group = 0;
};

struct Port {
  uint32_t interface = 0;
  uint32_t ordinal = 0;
  uint8_t type = 0;
  uint8_t asic = 0;
  VlanSet carried = {};    /**< SoL and CIN VLANs that are up */
  VlanSet reported = {};   /**< all VLANs last reported up */
  VlanSet forwarding = {}; /**< as last reported, and the SoL VLAN */
  std::vector<uint8_t> channel_members = {};
  Counts sent = {};
  Counts received = {};
  bool is_dirty = false;

  uint32_t bit() const { return asic < 32 ? 1u << asic : 0; }
};

/** An interface's entry in the table. The port is absent if it could not join the SoL VLAN (serial
 * over LAN). */
struct PortEntry {
  uint32_t interface = 0;
  std::optional<Port> port = {};
};

struct Vlan {
  uint16_t number = 0;
  uint32_t members = 0;
  uint32_t forwarders = 0;
  uint32_t token = no_token;
  bool is_dirty = false;
};

template <class Entry>
using Chains = std::array<std::list<Entry>, 32>;

template <class Entry, class Visit>
void each(Chains<Entry> &chains, Visit visit) {
  for (std::list<Entry> &chain : chains)
    for (Entry &entry : chain) visit(entry);
}

template <class Entry, class Visit>
void each(const Chains<Entry> &chains, Visit visit) {
  for (const std::list<Entry> &chain : chains)
    for (const Entry &entry : chain) visit(entry);
}

struct State {
  Chains<PortEntry> ports;
  Chains<Vlan> vlans;
  Port management;
  std::array<std::optional<uint32_t>, 20> port_map; /**< ASIC port to interface */
  std::map<Mac, uint32_t> learnt;                   /**< address to interface */

  int16_t cin_count = 0;
  uint16_t dirty_ports = 0;
  uint16_t dirty_vlans = 0;

  bool relay_is_up = false;
  bool relay_is_disabled = false;
  bool debug_packets = false;
  bool debug_control = false;
  int inband_socket = 0;
  int management_socket = 0;
};

}  // namespace model
