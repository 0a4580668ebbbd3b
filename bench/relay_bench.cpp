// Measures the daemon's relay alone, beside a bare loop of `read` and `write`.
//
// It makes the chassis's sandbox, in it inb0 and mgmt0 with the daemon between them, and beside them a pair
// of the same devices with the bare relay. Both relays stay on one processor, the generator on another.
// Rounds of the two alternate, so that what disturbs the machine disturbs both.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

#include "bench/bare_relay.h"
#include "bench/daemon_under_test.h"
#include "bench/device_pair.h"
#include "bench/measurement.h"
#include "bench/report.h"
#include "host/chassis/failure.h"
#include "host/chassis/net_link.h"
#include "host/chassis/run_folder.h"
#include "host/chassis/sandbox.h"
#include "host/chassis/sandbox_arguments.h"

namespace {

using namespace bench;
namespace fs = std::filesystem;

constexpr std::chrono::seconds start_bound{10};

struct Options {
  std::uint32_t rounds = 9;
  std::uint32_t frames = 50'000;
  std::uint32_t window = 128;
  std::vector<std::size_t> sizes{64, 1500};
  double limit = 0;
  bool json = false;
  bool inside = false;
  std::string daemon;
};

fs::path own_program() { return fs::read_symlink("/proc/self/exe"); }

/// Waits until the sandbox is complete. Its end, told through the same descriptor, then ends this process
/// by SIGIO, whose default that is.
void await_sandbox() {
  const char *number = std::getenv("CHASSIS_LIFELINE");
  const int lifeline = number == nullptr ? -1 : std::atoi(number);
  char byte = 0;
  if (lifeline < 0 || read(lifeline, &byte, 1) != 1) {
    throw chassis::Failure("--inside belongs to the sandbox; leave it out");
  }
  fcntl(lifeline, F_SETFD, FD_CLOEXEC);
  fcntl(lifeline, F_SETOWN, getpid());
  fcntl(lifeline, F_SETFL, O_ASYNC);
}

/// Settings that must be in place before a socket is bound in the sandbox.
void prepare_network() {
  std::ofstream("/proc/sys/net/unix/max_dgram_qlen") << "1024\n";
  chassis::silence_ipv6();
  chassis::set_link_up("lo", true);
}

std::vector<Load> loads(const Options &options) {
  std::vector<Load> list;
  for (const Direction direction : {Direction::to_asic, Direction::to_host}) {
    for (const std::size_t size : options.sizes) {
      list.push_back({direction, size, options.frames, fitting_window(options.window, size)});
    }
  }
  return list;
}

/// Teaches the daemon where the station is, so that frames to it go to one port.
void teach(const DevicePair &devices) {
  if (run_load(devices, {Direction::to_host, frame_bytes_min, 1, 1}).frames != 1) {
    throw chassis::Failure("the daemon did not relay the frame that it should learn from");
  }
}

void run_rounds(const Options &options, Report &report, const DevicePair &daemon_devices, pid_t daemon,
                const DevicePair &bare_devices, pid_t bare) {
  for (const Load &load : loads(options)) {
    report.series.push_back({load, {}, {}});
  }
  for (std::uint32_t round = 0; round < options.rounds; ++round) {
    for (Series &series : report.series) {
      if (round % 2 == 0) {
        series.bare.push_back(measure(bare_devices, bare, series.load));
      }
      series.daemon.push_back(measure(daemon_devices, daemon, series.load));
      if (round % 2 != 0) {
        series.bare.push_back(measure(bare_devices, bare, series.load));
      }
    }
  }
}

Report measure_all(const Options &options) {
  const std::vector<int> usable = processors();
  if (usable.size() < 2) {
    throw chassis::Failure(
        "two processors are needed, one for the relay and one for the generator; this process may use one");
  }
  Report report;
  report.relay_processor = usable.back();
  report.generator_processor = usable.front();

  const DevicePair daemon_devices = make_device_pair("inb0", "mgmt0");
  const DevicePair bare_devices = make_device_pair("bare_inb0", "bare_mgmt0");
  const BareRelay bare(bare_devices);
  pin(bare.pid(), report.relay_processor);

  DaemonUnderTest daemon(chassis::inside_run_folder, options.daemon);
  const auto start = std::chrono::steady_clock::now();
  daemon.start();
  const auto first = await_first_frame(daemon_devices, start + start_bound);
  daemon.wait_until_ready();
  if (!first) {
    throw chassis::Failure("the daemon serves, but carried no frame in time");
  }
  report.first_frame_ms = std::chrono::duration<double, std::milli>(*first - start).count();
  report.resident_kib = process_status(daemon.pid(), "VmRSS");

  pin(daemon.pid(), report.relay_processor);
  pin(0, report.generator_processor);
  teach(daemon_devices);
  run_rounds(options, report, daemon_devices, daemon.pid(), bare_devices, bare.pid());
  return report;
}

int run_inside(const Options &options) {
  await_sandbox();
  prepare_network();
  const Report report = measure_all(options);
  std::cout << (options.json ? report_json(report) : report_text(report)) << std::flush;
  for (const Series &series : report.series) {
    if (options.limit > 0 && cpu_ratio(series) > options.limit) {
      std::cerr << "relay_bench: the daemon costs more than " << options.limit << " bare relays\n";
      return 1;
    }
  }
  return 0;
}

int run_outside(const Options &options, int count, char **words) {
  if (const std::string missing = chassis::missing_prerequisite(); !missing.empty()) {
    throw chassis::Failure(missing);
  }
  const fs::path program = own_program();
  const chassis::RunFolder folder("bench");
  std::vector<std::string> command{program.string(), "--inside", "--daemon", options.daemon};
  command.insert(command.end(), words + 1, words + count);
  return chassis::run_sandboxed({folder.path(), program.parent_path(), "bench", options.daemon, command, {}});
}

void add_options(CLI::App &app, Options &options) {
  app.add_option("--rounds", options.rounds, "Rounds of each load")->check(CLI::Range(1u, 1000u));
  app.add_option("--frames", options.frames, "Frames of each round")->check(CLI::Range(1u, 10'000'000u));
  app.add_option("--window", options.window, "Frames on their way at a time, at most")
      ->check(CLI::Range(1u, 400u));
  app.add_option("--sizes", options.sizes, "Frame lengths in bytes")
      ->delimiter(',')
      ->check(CLI::Range(frame_bytes_min, frame_bytes_max));
  app.add_option("--limit", options.limit,
                 "Fail when the daemon's CPU time per frame is more than this many bare relays'");
  app.add_option("--daemon", options.daemon, "The daemon to measure; tesk beside this program without this")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_flag("--json", options.json, "Print a document for programs");
  app.add_flag("--inside", options.inside)->group("");
}

}  // namespace

int main(int count, char **words) {
  Options options;
  CLI::App app{"Measures the daemon's relay beside a bare loop of read and write."};
  add_options(app, options);
  try {
    app.parse(count, words);
    if (options.daemon.empty()) {
      options.daemon = own_program().parent_path() / "tesk";
    }
    return options.inside ? run_inside(options) : run_outside(options, count, words);
  } catch (const CLI::Success &shown) {
    return app.exit(shown);
  } catch (const CLI::ParseError &error) {
    std::cerr << "relay_bench: " << error.what() << "; --help shows what is accepted.\n";
    return 2;
  } catch (const std::exception &failure) {
    std::cerr << "relay_bench: " << failure.what() << "\n";
    return 1;
  }
}
