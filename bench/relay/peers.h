// Other programs that do the same kind of work as the relay. Each runs in its best arrangement between two
// TAP devices of its own, on the relay's processor.
//
//   bridge       the kernel's own bridge: no process; its cost is the extra cost of the generator's calls
//   vde_switch   a learning switch that holds both TAP devices itself
//   tcpbridge    reads and writes both devices through libpcap
//   ovs          ovs-vswitchd with the user-space datapath, which holds both TAP devices itself
//
// `start` throws Failure, whose sentence says why the program cannot run here.
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
  std::vector<std::unique_ptr<Child>> children;  ///< the first one relays; empty for the kernel's bridge

  pid_t pid() const { return children.empty() ? 0 : children.front()->pid(); }
};

struct PeerKind {
  std::string name;
  /// @param folder for the program's files
  std::function<Peer(const std::filesystem::path &folder, int processor)> start;
};

/// All peers, in the order of the tables.
const std::vector<PeerKind> &peer_kinds();

}  // namespace bench
