#include "bench/relay/peers.h"

#include <fmt/core.h>
#include <net/if.h>
#include <poll.h>

#include <chrono>

#include "bench/relay/failure.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds start_bound{5};

std::unique_ptr<Child> start(const std::vector<std::string> &command, const fs::path &folder, int processor) {
  return std::make_unique<Child>(command, processor, folder / (command.front() + ".log"));
}

/// Waits until `is_so` returns true for something that a program does. Checks every millisecond.
void await(const Child &child, const std::string &what, const std::function<bool()> &is_so) {
  const auto deadline = Clock::now() + start_bound;
  while (!is_so()) {
    if (child.has_ended() || Clock::now() > deadline) {
      throw Failure(fmt::format("{}; it said: {}", what, child.last_words()));
    }
    poll(nullptr, 0, 1);
  }
}

void await_devices(const Child &child, const std::string &one, const std::string &other) {
  await(child, fmt::format("it made no devices {} and {}", one, other),
        [&] { return if_nametoindex(one.c_str()) != 0 && if_nametoindex(other.c_str()) != 0; });
}

Peer start_bridge(const fs::path &, int) {
  Peer peer{"bridge", make_tap_wire("bridge_in", "bridge_out"), {}};
  run_program({"ip", "link", "add", "bridge0", "type", "bridge", "stp_state", "0", "forward_delay", "0",
               "mcast_snooping", "0"});
  for (const std::string &name : {peer.wire.inband_name, peer.wire.management_name}) {
    run_program({"ip", "link", "set", name, "master", "bridge0"});
  }
  run_program({"ip", "link", "set", "bridge0", "up"});
  return peer;
}

Peer start_vde_switch(const fs::path &folder, int processor) {
  Peer peer{"vde_switch", {}, {}};
  peer.children.push_back(start(
      {"vde_switch", "-s", (folder / "vde").string(), "-t", "vde_in", "-t", "vde_out"}, folder, processor));
  await_devices(*peer.children.front(), "vde_in", "vde_out");
  peer.wire = open_tap_wire("vde_in", "vde_out");
  return peer;
}

Peer start_tcpbridge(const fs::path &folder, int processor) {
  Peer peer{"tcpbridge", make_tap_wire("tcpbridge_in", "tcpbridge_out"), {}};
  peer.children.push_back(
      start({"tcpbridge", "--intf1=tcpbridge_in", "--intf2=tcpbridge_out"}, folder, processor));
  return peer;
}

/// The switch takes its configuration from a database server of its own.
Peer start_open_vswitch(const fs::path &folder, int processor) {
  const std::string database = (folder / "ovs.db").string();
  const std::string remote = fmt::format("unix:{}", (folder / "ovs.sock").string());
  const std::string control = fmt::format("--unixctl={}", (folder / "ovs.ctl").string());
  run_program({"ovsdb-tool", "create", database, "/usr/share/openvswitch/vswitch.ovsschema"});
  auto server = start({"ovsdb-server", database, "--remote=p" + remote,
                       fmt::format("--unixctl={}", (folder / "ovsdb.ctl").string())},
                      folder, -1);
  await(*server, "its database does not serve", [&] { return fs::exists(folder / "ovs.sock"); });
  run_program({"ovs-vsctl", "--db=" + remote, "--no-wait", "init"});
  run_program({"ovs-vsctl",  "--db=" + remote,
               "--no-wait",  "add-br",
               "ovs_bridge", "--",
               "set",        "bridge",
               "ovs_bridge", "datapath_type=netdev",
               "--",         "add-port",
               "ovs_bridge", "ovs_in",
               "--",         "set",
               "interface",  "ovs_in",
               "type=tap",   "--",
               "add-port",   "ovs_bridge",
               "ovs_out",    "--",
               "set",        "interface",
               "ovs_out",    "type=tap"});
  Peer peer{"ovs", {}, {}};
  peer.children.push_back(start(
      {"ovs-vswitchd", remote, control, "--pidfile=" + (folder / "ovs.pid").string(), "--disable-system"},
      folder, processor));
  peer.children.push_back(std::move(server));
  await_devices(*peer.children.front(), "ovs_in", "ovs_out");
  peer.wire = open_tap_wire("ovs_in", "ovs_out");
  return peer;
}

}  // namespace

const std::vector<PeerKind> &peer_kinds() {
  static const std::vector<PeerKind> kinds{{"bridge", start_bridge},
                                           {"vde_switch", start_vde_switch},
                                           {"tcpbridge", start_tcpbridge},
                                           {"ovs", start_open_vswitch}};
  return kinds;
}

}  // namespace bench
