// Measures the daemon's relay beside a bare loop and beside programs of the same kind.
//
// It makes the chassis's sandbox. In it the daemon runs between inb0 and mgmt0, and every other contender
// between a pair of devices of its own. All relays stay on one processor, the generator on another. Rounds
// alternate, so that a disturbance of the machine affects all contenders.

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "bench/relay/failure.h"
#include "bench/relay/lab.h"
#include "bench/relay/report.h"
#include "host/chassis/net/net_link.h"
#include "host/chassis/sandbox/prerequisites.h"
#include "host/chassis/sandbox/run_folder.h"
#include "host/chassis/sandbox/sandbox.h"
#include "host/chassis/sandbox/sandbox_arguments.h"

namespace {

using namespace bench;
namespace fs = std::filesystem;

struct Options {
  Settings settings;
  std::string only;  ///< "relay" or "daemon"
  std::string json;  ///< file name
  bool quick = false;
  bool inside = false;
};

fs::path own_program() { return fs::read_symlink("/proc/self/exe"); }

/// Waits until the sandbox is complete. Later the end of the sandbox makes the same descriptor raise SIGIO,
/// whose default action ends this process.
void await_sandbox() {
  const char *number = std::getenv("CHASSIS_LIFELINE");
  const int lifeline = number == nullptr ? -1 : std::atoi(number);
  char byte = 0;
  if (lifeline < 0 || read(lifeline, &byte, 1) != 1) {
    throw Failure("--inside belongs to the sandbox; leave it out");
  }
  fcntl(lifeline, F_SETFD, FD_CLOEXEC);
  fcntl(lifeline, F_SETOWN, getpid());
  fcntl(lifeline, F_SETFL, O_ASYNC);
}

/// Settings that must be in place before a socket is bound in the sandbox.
void prepare_network() {
  std::ofstream("/proc/sys/net/unix/max_dgram_qlen") << "1024\n";
  chassis::disable_ipv6();
  must(chassis::set_link_up("lo", true));
}

std::string conditions(const Lab &lab) {
  utsname system{};
  uname(&system);
  return fmt::format(
      "medians of {} rounds of {} frames; relay on processor {}, generator on {}; {} {}; history records "
      "everything, "
      "errors are printed",
      lab.settings.rounds, lab.settings.frames, lab.relay_processor, lab.generator_processor, system.sysname,
      system.release);
}

void append(std::vector<Figure> &figures, std::vector<Figure> more) {
  figures.insert(figures.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

int run_chassis_process(const Options &options) {
  await_sandbox();
  prepare_network();
  Lab lab(options.settings);
  Report report{{}, conditions(lab)};
  if (options.only != "daemon") {
    append(report.figures, relay_figures(lab));
  }
  if (options.only != "relay") {
    append(report.figures, daemon_figures(lab));
  }
  std::cout << report_text(report) << std::flush;
  if (!options.json.empty()) {
    std::ofstream(options.json) << report_json(report);
  }
  return all_met(report) ? 0 : 1;
}

int run_outside(const Options &options, int count, char **words) {
  must(chassis::check_prerequisites());
  const fs::path program = own_program();
  const std::string name = fmt::format("bench-{}", getpid());
  const chassis::RunFolder folder = must(chassis::RunFolder::make(name));
  std::vector<std::string> command{program.string(), "--inside", "--daemon",
                                   options.settings.daemon.string()};
  command.insert(command.end(), words + 1, words + count);
  return must(chassis::run_sandboxed(
      {folder.path(), program.parent_path(), name, options.settings.daemon, command, {}}));
}

void add_options(CLI::App &app, Options &options) {
  Settings &settings = options.settings;
  app.add_flag("--quick", options.quick, "Five short rounds, in under a minute");
  app.add_option("--rounds", settings.rounds, "Rounds of each figure")->check(CLI::Range(1u, 1000u));
  app.add_option("--frames", settings.frames, "Frames of each load")->check(CLI::Range(64u, 10'000'000u));
  app.add_option("--window", settings.window, "Most frames that are on their way at a time")
      ->check(CLI::Range(2u, 400u));
  app.add_option("--sizes", settings.sizes, "Frame lengths in bytes")
      ->delimiter(',')
      ->check(CLI::Range(frame_bytes_min, frame_bytes_max));
  app.add_option("--only", options.only, "Measure only the relay beside its peers, or only the daemon alone")
      ->check(CLI::IsMember({"relay", "daemon"}));
  app.add_option("--json", options.json, "Write a document for programs to this file");
  app.add_option("--daemon", settings.daemon, "The daemon to measure (default: tesk beside this program)")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_flag("--inside", options.inside)->group("");
}

void shorten(Settings &settings) {
  settings.rounds = 5;
  settings.frames = 6'400;
  settings.round_trips = 1'000;
  settings.requests = 100;
}

}  // namespace

int main(int count, char **words) {
  Options options;
  CLI::App app{
      "Measure the daemon's relay beside a bare loop of read and write, and beside programs of the same "
      "kind."};
  add_options(app, options);
  try {
    app.parse(count, words);
    if (options.quick) {
      shorten(options.settings);
    }
    if (options.settings.daemon.empty()) {
      options.settings.daemon = own_program().parent_path() / "tesk";
    }
    return options.inside ? run_chassis_process(options) : run_outside(options, count, words);
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
