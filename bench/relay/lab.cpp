#include "bench/relay/lab.h"

#include <fmt/core.h>

#include "bench/relay/failure.h"
#include "host/chassis/sandbox/sandbox_arguments.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds start_bound{10};

int processor_of(bool relay) {
  const std::vector<int> usable = processors();
  if (usable.size() < 2) {
    throw Failure(
        "two processors are needed, one for the relay and one for the generator; this process may use one");
  }
  return relay ? usable.back() : usable.front();
}

void await_relay(const Wire &wire) {
  if (!await_first_frame(wire, Clock::now() + start_bound)) {
    throw Failure(fmt::format("no frame came through between {} and {} within {} s", wire.management_name,
                              wire.inband_name, start_bound.count()));
  }
}

/// Sends a relay one frame from each station and from the AMM, one at a time, so that it learns them all.
void meet(const Wire &wire) {
  for (const Direction direction : {Direction::to_host, Direction::to_asic, Direction::to_host}) {
    run_load(wire, {.direction = direction, .frames = Lab::stations, .window = 1, .stations = Lab::stations});
  }
}

}  // namespace

Lab::Lab(const Settings &wanted)
    : settings(wanted), relay_processor(processor_of(true)), generator_processor(processor_of(false)) {
  make_anew();
  start_peers();
  pin(0, generator_processor);
}

void Lab::make_wires() {
  for (Wire *wire : {&daemon_wire, &bare_wire, &discard_wire}) {
    remove_driver_wire(*wire);
  }
  daemon_wire = make_driver_wire(Shape::daemon, "inb0", "mgmt0");
  bare_wire = make_driver_wire(Shape::bare, "bare_inb0", "bare_mgmt0");
  discard_wire = make_driver_wire(Shape::bare, "discard_inb0", "discard_mgmt0");
}

void Lab::make_anew() {
  daemon.reset();
  bare.reset();
  discard.reset();
  make_wires();
  bare.emplace(bare_wire, BareRelay::Work::relay);
  discard.emplace(discard_wire, BareRelay::Work::discard);
  for (const BareRelay *relay : {&*bare, &*discard}) {
    pin(relay->pid(), relay_processor);
  }
  await_relay(bare_wire);
  restart_daemon("relay");
}

DaemonUnderTest &Lab::restart_daemon(const std::string &name) {
  daemon.reset();
  run_folder = fs::path(chassis::inside_run_folder) / name;
  fs::create_directories(run_folder);
  daemon.emplace(run_folder, settings.daemon);
  daemon->start();
  daemon->wait_until_ready();
  await_relay(daemon_wire);
  teach(daemon_wire, 0, stations);
  pin(daemon->pid(), relay_processor);
  return *daemon;
}

void Lab::start_peers() {
  const fs::path folder = fs::path(chassis::inside_run_folder) / "peers";
  fs::create_directories(folder);
  for (const PeerKind &kind : peer_kinds()) {
    try {
      Peer peer = kind.start(folder, relay_processor);
      await_relay(peer.wire);
      meet(peer.wire);
      peers.push_back(std::move(peer));
    } catch (const std::exception &failure) {
      absent_peers.push_back({kind.name, failure.what()});
    }
  }
}

void teach(const Wire &wire, std::uint32_t first, std::uint32_t count) {
  run_load(wire, {.direction = Direction::to_host,
                  .frame_bytes = frame_bytes_min,
                  .frames = count,
                  .first_station = first,
                  .stations = count});
}

}  // namespace bench
