#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "bench/relay/console.h"
#include "bench/relay/failure.h"
#include "bench/relay/lab.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t first_cin_vlan = 100;
constexpr std::uint16_t cin_vlans = 14;
constexpr std::uint16_t spare_cin_vlan = 500;

double ms_since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double answer_ms(const std::function<void()> &ask) {
  const auto start = Clock::now();
  ask();
  return ms_since(start);
}

/// The figures to which each life of the daemon adds one value.
struct Tables {
  Figure rest{"Resident memory at rest", "MiB", {}, {{"daemon", "", 6}}};
  Figure growth{"Resident memory of a learnt address", "bytes", {}, {{"daemon", "", 64}}};
  Figure learning{"CPU time of a frame from a new address", "ns", {}, {{"last tenth", "first tenth", 1.5}}};
  Figure relaying{
      "CPU time of a relayed frame, to ASIC, 64 bytes, and the size of the table", "bare loops", {}, {}};
  Figure back{
      "CPU time of a relayed frame, to host, 64 bytes, and the size of the table", "bare loops", {}, {}};
};

double resident_bytes(Lab &lab) {
  return 1024.0 * static_cast<double>(process_status(lab.daemon->pid(), "VmRSS"));
}

/// Number of stations with consecutive addresses, as in a full chassis.
constexpr std::uint32_t consecutive_stations = 440;

/// Measures frames between the AMM and this many stations, whatever else the table holds.
void relay_among(Lab &lab, Tables &tables, std::uint32_t stations, const std::string &name) {
  for (Figure *figure : {&tables.relaying, &tables.back}) {
    const Load load{.direction = figure == &tables.relaying ? Direction::to_asic : Direction::to_host,
                    .frames = lab.settings.frames,
                    .window = fitting_window(lab.settings.window, 64),
                    .stations = stations};
    const double bare = measure(lab.bare_wire, lab.bare->pid(), load).relay_ns;
    figure->of(name).values.push_back(measure(lab.daemon_wire, lab.daemon->pid(), load).relay_ns / bare);
  }
}

void learn(Lab &lab, Tables &tables) {
  const std::uint32_t tenth = lab.settings.stations / 10;
  for (std::uint32_t part = 0; part < 10; ++part) {
    const double before = cpu_ns(lab.daemon->pid());
    teach(lab.daemon_wire, consecutive_stations + part * tenth, tenth);
    const double used = (cpu_ns(lab.daemon->pid()) - before) / tenth;
    if (part == 0 || part == 9) {
      tables.learning.of(part == 0 ? "first tenth" : "last tenth").values.push_back(used);
    }
  }
}

/// Fills the table during one life of the daemon.
void fill_table(Lab &lab, Tables &tables, std::uint32_t round) {
  lab.restart_daemon(fmt::format("table{}", round));
  tables.rest.of("daemon").values.push_back(resident_bytes(lab) / (1 << 20));
  relay_among(lab, tables, Lab::stations, "20 addresses");
  teach(lab.daemon_wire, Lab::stations, consecutive_stations - Lab::stations);
  relay_among(lab, tables, consecutive_stations, fmt::format("{} addresses", consecutive_stations));
  const double before = resident_bytes(lab);
  learn(lab, tables);
  tables.growth.of("daemon").values.push_back((resident_bytes(lab) - before) / lab.settings.stations);
  relay_among(lab, tables, Lab::stations, fmt::format("{} addresses", lab.settings.stations));
}

std::vector<Figure> table_figures(Lab &lab) {
  Tables tables;
  const std::string full = fmt::format("{} addresses", consecutive_stations);
  const std::string many = fmt::format("{} addresses", lab.settings.stations);
  for (Figure *figure : {&tables.relaying, &tables.back}) {
    figure->limits = {{full, "20 addresses", 1.05}, {many, "20 addresses", 1.10}};
  }
  for (std::uint32_t round = 0; round < lab.settings.rounds; ++round) {
    fill_table(lab, tables, round);
  }
  return {tables.relaying, tables.back, tables.learning, tables.rest, tables.growth};
}

void configure_all(Console &console, bool cin) {
  for (std::uint16_t vlan = first_cin_vlan; vlan < first_cin_vlan + cin_vlans; ++vlan) {
    console.configure_vlan(vlan, cin);
  }
}

/// Measures starts. Each start finds what the first daemon stored.
Figure start_figure(Lab &lab) {
  Figure figure{"Start to main loop with 14 stored VLANs", "ms", {}, {{"daemon", "", 100}}};
  lab.restart_daemon("stored");
  {
    Console console(lab.run_folder);
    configure_all(console, true);
    console.save();
  }
  for (std::uint32_t round = 0; round < lab.settings.rounds; ++round) {
    figure.of("daemon").values.push_back(lab.restart_daemon("stored").start_ms());
  }
  Console console(lab.run_folder);
  configure_all(console, false);  // refused unless all of them are configured
  return figure;
}

Figure notice_figure(Lab &lab) {
  Figure figure{"Notice of a port with 4094 VLANs, until the daemon's answer to the next message",
                "ms",
                {},
                {{"up", "", 1}}};
  Console console(lab.run_folder);
  configure_all(console, true);
  for (std::uint32_t round = 0; round < 10 * lab.settings.rounds; ++round) {
    figure.of("nothing").values.push_back(answer_ms([&] { console.barrier(); }));
    const auto notice = [&](const std::string &name, bool up) {
      figure.of(name).values.push_back(answer_ms([&] {
        console.notify_port(up);
        console.barrier();
      }));
    };
    notice("up", true);  // the 14 CIN VLANs among them are activated in the switch
    notice("up again", true);
    notice("down", false);
  }
  configure_all(console, false);
  return figure;
}

/// Sends frames in both directions on a thread of its own, as long as this object lives.
class Saturation {
 public:
  explicit Saturation(Lab &lab)
      : thread_([this, &lab] {
          pin(0, lab.generator_processor);
          try {
            run(lab);
          } catch (const Failure &failure) {
            failure_ = failure.what();
          }
        }) {}
  ~Saturation() { end(); }

  /// @return why the run was invalid, or ""
  std::string end() {
    ended_ = true;
    if (thread_.joinable()) {
      thread_.join();
    }
    return failure_;
  }

 private:
  void run(Lab &lab) {
    Load load{
        .frames = 0xFFFFFFFF, .window = fitting_window(lab.settings.window, 64), .stations = Lab::stations};
    Stream to_asic(lab.daemon_wire, load);
    load.direction = Direction::to_host;
    Stream to_host(lab.daemon_wire, load);
    while (!ended_) {
      (void)to_asic.step();
      (void)to_host.step();
    }
  }

  std::atomic<bool> ended_ = false;
  std::string failure_;
  std::thread thread_;
};

double percentile_99(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() * 99 / 100];
}

struct Answers {
  std::vector<double> shown, configured;
};

Answers ask_often(Console &console, std::uint32_t requests) {
  Answers answers;
  for (std::uint32_t i = 0; i < requests; ++i) {
    answers.shown.push_back(answer_ms([&] { console.show_vlans(); }));
    answers.configured.push_back(answer_ms([&] { console.configure_vlan(spare_cin_vlan, i % 2 == 0); }));
  }
  return answers;
}

void enter(Figure &figure, const std::string &suffix, const Answers &answers) {
  figure.of("show" + suffix).values = {percentile_99(answers.shown)};
  figure.of("configure" + suffix).values = {percentile_99(answers.configured)};
}

Figure answer_figure(Lab &lab) {
  Figure figure{"Answer to a message while both directions are saturated, 99th percentile", "ms", {}, {}};
  figure.limits = {{"show", "", 20}, {"configure", "", 20}};
  Console console(lab.run_folder);
  enter(figure, " at rest", ask_often(console, lab.settings.requests));
  Saturation saturation(lab);
  std::string refusal;
  try {
    enter(figure, "", ask_often(console, lab.settings.requests));
  } catch (const Failure &failure) {
    refusal = failure.what();
  }
  if (const std::string invalid = saturation.end(); !invalid.empty()) {
    refusal = invalid;
  }
  figure.of("show").refusal = figure.of("configure").refusal = refusal;
  return figure;
}

}  // namespace

std::vector<Figure> daemon_figures(Lab &lab) {
  std::vector<Figure> figures = table_figures(lab);
  figures.push_back(start_figure(lab));
  figures.push_back(notice_figure(lab));
  figures.push_back(answer_figure(lab));
  return figures;
}

}  // namespace bench
