// Programs of other people that do the relay's kind of work, each in its own best arrangement between two TAP
// devices of its own, on the relay's processor.
//
//   bridge       the kernel's own bridge: no process; its cost is what the generator's own calls cost more
//   vde_switch   holds both TAP devices itself, a switch that learns
//   tcpbridge    reads and writes both devices through libpcap
//   ovs          ovs-vswitchd with the user-space datapath, holding both TAP devices itself
//
// Each start_ function throws Failure, whose sentence says why the program cannot run here.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/relay/child.h"
#include "bench/relay/stream.h"

namespace bench {

struct Peer {
  std::string name;
  Wire wire;
  std::vector<std::unique_ptr<Child>> children;  ///< the first one relays; none for the kernel's bridge

  pid_t pid() const { return children.empty() ? 0 : children.front()->pid(); }
};

struct PeerKind {
  std::string name;
  /// @param folder for its files
  std::function<Peer(const std::filesystem::path &folder, int processor)> start;
};

/// All of them, in the order of the tables.
const std::vector<PeerKind> &peer_kinds();

}  // namespace bench
