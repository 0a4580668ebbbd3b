#include <fmt/core.h>

#include <functional>

#include "bench/relay/failure.h"
#include "bench/relay/lab.h"

namespace bench {
namespace {

/// One contender of a figure: measured once in each round.
struct Contestant {
  std::string name;
  std::function<double()> measure;
};

/// Lets a fresh relay do its first-time work before it is measured against relays that have run for long.
void warm_up(const Wire &wire) {
  for (const Direction direction : {Direction::to_host, Direction::to_asic}) {
    run_load(wire,
             {.direction = direction, .frame_bytes = good_frame_bytes, .frames = 12'800, .window = 128});
  }
}

/// Runs rounds in which the contestants take turns; each round begins with another one. Each round has a new
/// daemon and new bare loops. An invalid run ends the contestant's series.
void run_rounds(Figure &figure, Lab &lab, const std::vector<Contestant> &contestants) {
  for (const Contestant &contestant : contestants) {
    figure.of(contestant.name);
  }
  for (std::uint32_t round = 0; round < lab.settings.rounds; ++round) {
    lab.make_anew();
    for (const Wire *wire : {&lab.daemon_wire, &lab.bare_wire, &lab.discard_wire}) {
      warm_up(*wire);
    }
    for (std::size_t turn = 0; turn < contestants.size(); ++turn) {
      const Contestant &contestant = contestants[(round + turn) % contestants.size()];
      Series &series = figure.of(contestant.name);
      if (!series.refusal.empty()) {
        continue;
      }
      try {
        series.values.push_back(contestant.measure());
      } catch (const Failure &failure) {
        series.refusal = failure.what();
      }
    }
  }
}

std::string limit_name(Direction direction, std::size_t bytes) {
  return fmt::format("CPU time of a relayed frame, {}, {} bytes, saturated", direction_name(direction),
                     bytes);
}

Contestant contestant_of(const Peer &peer, const Load &load) {
  if (peer.pid() == 0) {
    return {peer.name, [&peer, load] { return kernel_ns(peer.wire, load); }};
  }
  return {peer.name, [&peer, load] { return measure(peer.wire, peer.pid(), load).relay_ns; }};
}

Figure saturated(Lab &lab, Direction direction, std::size_t bytes) {
  Load load{.direction = direction, .frame_bytes = bytes, .frames = lab.settings.frames};
  load.window = fitting_window(lab.settings.window, bytes);
  Figure figure{limit_name(direction, bytes), fmt::format("ns, {} in flight", load.window), {}, {}};
  std::vector<Contestant> contestants{
      {"bare loop", [&] { return measure(lab.bare_wire, lab.bare->pid(), load).relay_ns; }},
      {"daemon", [&] { return measure(lab.daemon_wire, lab.daemon->pid(), load).relay_ns; }}};
  for (const Peer &peer : lab.peers) {
    contestants.push_back(contestant_of(peer, load));
  }
  run_rounds(figure, lab, contestants);
  for (const Lab::AbsentPeer &absent : lab.absent_peers) {
    figure.of(absent.name).refusal = absent.why;
  }
  figure.limits = {{"daemon", "bare loop", bytes <= 64 ? 1.10 : 1.07},
                   {"daemon", "vde_switch", 1.05},
                   {"daemon", "tcpbridge", 0.7},
                   {"daemon", "ovs", 0.7}};
  return figure;
}

Figure flood(Lab &lab) {
  const Load load{
      .frames = lab.settings.frames, .window = fitting_window(lab.settings.window, 64), .flood = true};
  Figure figure{"CPU time of a frame flooded to 20 ports, 64 bytes, saturated", "ns", {}, {}};
  run_rounds(figure, lab,
             {{"bare loop", [&] { return measure(lab.bare_wire, lab.bare->pid(), load).relay_ns; }},
              {"daemon", [&] { return measure(lab.daemon_wire, lab.daemon->pid(), load).relay_ns; }}});
  figure.limits = {{"daemon", "bare loop", 1.15}};
  return figure;
}

struct RejectedKind {
  const char *name;
  Direction direction;
  Rejection rejection;
};
constexpr RejectedKind rejected_kinds[] = {
    {"of a VLAN that is not carried", Direction::to_asic, Rejection::wrong_vlan},
    {"untagged", Direction::to_asic, Rejection::untagged},
    {"whose port is no member", Direction::to_host, Rejection::not_member},
    {"untagged", Direction::to_host, Rejection::untagged}};

Figure rejected(Lab &lab, const RejectedKind &kind) {
  Load load{
      .direction = kind.direction, .frames = lab.settings.frames / 64 * 64, .rejection = kind.rejection};
  load.window = fitting_window(lab.settings.window, 64);
  Figure figure{fmt::format("CPU time of a rejected frame, {}, {}, 64 bytes", direction_name(kind.direction),
                            kind.name),
                "ns",
                {},
                {}};
  run_rounds(figure, lab,
             {{"read, discard", [&] { return measure(lab.discard_wire, lab.discard->pid(), load).relay_ns; }},
              {"daemon", [&] { return measure(lab.daemon_wire, lab.daemon->pid(), load).relay_ns; }}});
  figure.limits = {{"daemon", "read, discard", 1.15}};
  return figure;
}

/// Both percentiles come from the same round trips.
std::vector<Figure> one_at_a_time(Lab &lab, std::size_t bytes) {
  std::vector<Figure> figures{
      {fmt::format("Round trip of one frame at a time, {} bytes, median", bytes), "ns", {}, {}},
      {fmt::format("Round trip of one frame at a time, {} bytes, 99th percentile", bytes), "ns", {}, {}}};
  const auto both = [&](const std::string &name, const Wire &wire) {
    return Contestant{name, [&figures, &lab, &wire, name, bytes] {
                        const std::vector<double> times = round_trips(wire, lab.settings.round_trips, bytes);
                        figures[1].of(name).values.push_back(times[times.size() * 99 / 100]);
                        return times[times.size() / 2];
                      }};
  };
  run_rounds(figures[0], lab, {both("bare loop", lab.bare_wire), both("daemon", lab.daemon_wire)});
  for (Figure &figure : figures) {
    figure.limits = {{"daemon", "bare loop", 1.05}};
  }
  return figures;
}

}  // namespace

std::vector<Figure> relay_figures(Lab &lab) {
  std::vector<Figure> figures;
  for (const std::size_t bytes : lab.settings.sizes) {
    for (const Direction direction : {Direction::to_asic, Direction::to_host}) {
      figures.push_back(saturated(lab, direction, bytes));
    }
  }
  figures.push_back(flood(lab));
  for (const RejectedKind &kind : rejected_kinds) {
    figures.push_back(rejected(lab, kind));
  }
  for (const std::size_t bytes : lab.settings.sizes) {
    for (Figure &figure : one_at_a_time(lab, bytes)) {
      figures.push_back(std::move(figure));
    }
  }
  return figures;
}

}  // namespace bench
