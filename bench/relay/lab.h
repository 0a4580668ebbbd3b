// All contenders that are measured side by side, and the settings. The contenders run all the time, so that
// their rounds can alternate.
//
//   lab.cpp             the contenders
//   relay_figures.cpp   frames through every contender: saturated, one at a time, flooded, rejected
//   daemon_figures.cpp  figures of the daemon alone: its tables, its start, its memory, its answers
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/relay/bare_relay.h"
#include "bench/relay/daemon_under_test.h"
#include "bench/relay/figure.h"
#include "bench/relay/measurement.h"
#include "bench/relay/peers.h"

namespace bench {

struct Settings {
  std::uint32_t rounds = 25;
  std::uint32_t frames = 20'000;      ///< of each load in each round
  std::uint32_t round_trips = 2'000;  ///< in each round
  std::uint32_t window = 128;
  std::uint32_t stations = 100'000;  ///< of the large table
  std::uint32_t requests = 300;
  std::vector<std::size_t> sizes{64, 1500};
  std::filesystem::path daemon;
};

class Lab {
 public:
  /// Throws Failure if the daemon or the bare loop cannot run. Peers that cannot are listed in
  /// `absent_peers`.
  explicit Lab(const Settings &settings);

  /// Number of stations that exchange frames with the AMM (the management module).
  static constexpr std::uint32_t stations = 20;

  /// Ends the daemon and both bare loops and starts them again on new devices. The memory addresses that
  /// devices and processes happen to get make them faster or slower as long as they live, by more than the
  /// limits allow. So the figure of a single set of them says little about the program.
  void make_anew();

  /// Ends the daemon, starts another one with a run folder of that name, and teaches it these stations.
  DaemonUnderTest &restart_daemon(const std::string &run_folder);

  struct AbsentPeer {
    std::string name, why;
  };

  const Settings settings;
  int relay_processor, generator_processor;
  Wire daemon_wire, bare_wire, discard_wire;
  std::optional<BareRelay> bare, discard;
  std::optional<DaemonUnderTest> daemon;
  std::vector<Peer> peers;
  std::vector<AbsentPeer> absent_peers;
  std::filesystem::path run_folder;  ///< of the running daemon

 private:
  void start_peers();
  void make_wires();
};

/// Figures of the relay and its peers, and of the daemon alone. Each daemon figure needs a fresh daemon;
/// daemon_figures starts it.
std::vector<Figure> relay_figures(Lab &lab);
std::vector<Figure> daemon_figures(Lab &lab);

/// Teaches a relay where `count` stations are, from number `first` on.
void teach(const Wire &wire, std::uint32_t first, std::uint32_t count);

}  // namespace bench
