// Everything that is measured side by side, and how often: the contenders stand ready all the time, so that
// their rounds can take turns.
//
//   lab.cpp             the contenders
//   relay_figures.cpp   frames through every contender: saturated, one at a time, flooded, rejected
//   daemon_figures.cpp  what concerns the daemon alone: its tables, its start, its memory, its answers
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
  /// Throws Failure when the daemon or the bare loop cannot run; a peer that cannot is noted.
  explicit Lab(const Settings &settings);

  /// The AMM and so many stations talk.
  static constexpr std::uint32_t stations = 20;

  /// Ends the daemon and both bare loops, and starts them anew on new devices. Where devices and processes
  /// happen to lie in memory makes them faster or slower for all their life, by more than the limits allow,
  /// so that a figure of one set of them is not the program's.
  void make_anew();

  /// Ends the daemon and starts another one, which learns these stations; a run folder of that name is made.
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
  std::filesystem::path run_folder;  ///< of the daemon that runs

 private:
  void start_peers();
  void make_wires();
};

/// Figures of the relay beside its peers. Every daemon figure needs a fresh daemon, which is started in
/// there.
std::vector<Figure> relay_figures(Lab &lab);
std::vector<Figure> daemon_figures(Lab &lab);

/// Teaches a relay where stations are: so many, from a first one on.
void teach(const Wire &wire, std::uint32_t first, std::uint32_t count);

}  // namespace bench
