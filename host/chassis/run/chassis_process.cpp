#include "host/chassis/run/chassis_process.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/mount.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/chassis/base/timer.h"
#include "host/chassis/base/watch.h"
#include "host/chassis/kernel_module/klm_device.h"
#include "host/chassis/model/board_ports.h"
#include "host/chassis/net/net_link.h"
#include "host/chassis/run/command_process.h"
#include "host/chassis/run/control_plane.h"
#include "host/chassis/run/module_counters.h"
#include "host/chassis/sandbox/lifeline.h"
#include "host/chassis/sandbox/run_folder.h"
#include "host/chassis/sandbox/sandbox_arguments.h"
#include "host/chassis/wires/data_plane.h"

namespace chassis {
namespace {

constexpr std::chrono::seconds command_end_limit{2};

/// Sets up the sandbox's own network, before any socket is bound in it.
host::Result<> prepare_network() {
  std::ofstream("/proc/sys/net/unix/max_dgram_qlen") << "1024\n";
  disable_ipv6();
  if (host::Result<> up = set_link_up("lo", true); !up) return up;
  // A fresh view of the network's devices, above the machine's own, so that `ip netns exec` can make another.
  mount("sysfs", "/sys", "sysfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
  return {};
}

void put_programs_first(const std::filesystem::path &programs) {
  const char *path = std::getenv("PATH");
  setenv("PATH", fmt::format("{}:{}", programs.string(), path == nullptr ? "/usr/bin:/bin" : path).c_str(),
         1);
}

class ChassisProcess {
 public:
  ChassisProcess(const ChassisPlan &plan, asio::io_context &loop, host::Descriptor lifeline,
                 std::unique_ptr<DataPlane> data_plane)
      : plan_(plan),
        loop_(loop),
        lifeline_(std::move(lifeline)),
        data_plane_(std::move(data_plane)),
        klm_([board = plan.description.board](IfIndex index) { return port_exists(board, index); },
             [this](IfIndex index, auto &counters) {
               return fill_module_counters(plan_.description.board, data_plane_->inband_counters(),
                                           klm_.mirror(), index, counters);
             }),
        control_plane_(loop_, plan.description, data_plane_->fabric(), klm_, {inside_run_folder, plan.daemon},
                       hooks()),
        end_timer_(loop_) {}

  host::Result<int> run() {
    if (host::Result<> mounted = klm_.mount(TESKK_DEVICE); !mounted) return failed(std::move(mounted));
    klm_watch_.emplace(loop_, klm_.fd(), [this] { return serve_klm(); });
    lifeline_watch_.emplace(loop_, lifeline_.get(), [this] { return end_of_lifeline(); });
    announce_sandbox(inside_run_folder);
    if (host::Result<> started = control_plane_.start(); !started) return failed(std::move(started));
    loop_.run();
    control_plane_.stop();
    return status_;
  }

 private:
  ControlPlaneHooks hooks() {
    return {[this](AsicPort port, bool up) { set_link(port, up); }, [this] { start_command(); },
            [this](const std::string &why) { give_up(why); }, [this] { return data_plane_->status(); }};
  }

  void set_link(AsicPort port, bool up) {
    if (host::Result<> set = data_plane_->set_link(port, up); !set) give_up(set.error().what);
  }

  ReadResult serve_klm() {
    klm_.serve();
    return ReadResult::nothing;
  }

  /// Starts the command when the daemon first serves.
  void start_command() {
    if (command_ || ending_) return;
    auto command = CommandProcess::start(loop_, plan_.command, plan_.terminal, [this](int status) {
      status_ = status;
      loop_.stop();
    });
    if (!command) return give_up(command.error().what);
    command_ = std::move(*command);
  }

  void give_up(const std::string &why) {
    std::cerr << "chassis: " << why << '\n';
    status_ = 1;
    loop_.stop();
  }

  ReadResult end_of_lifeline() {
    char byte = 0;
    if (read(lifeline_.get(), &byte, 1) < 0 && result_of_failed_read(errno) == ReadResult::nothing)
      return ReadResult::nothing;
    ending_ = true;
    if (!command_) {
      loop_.stop();
      return ReadResult::ended;
    }
    command_->end();
    end_timer_.set(command_end_limit, [this] { loop_.stop(); });
    return ReadResult::ended;
  }

  const ChassisPlan &plan_;
  asio::io_context &loop_;
  host::Descriptor lifeline_;
  std::unique_ptr<DataPlane> data_plane_;
  KlmDevice klm_;
  ControlPlane control_plane_;
  Timer end_timer_;
  std::optional<Watch> klm_watch_, lifeline_watch_;
  std::unique_ptr<CommandProcess> command_;
  bool ending_ = false;
  int status_ = 1;
};

}  // namespace

host::Result<int> run_chassis_process(const ChassisPlan &plan) {
  // The lifeline ends the sandbox; signals that are meant for the command must not end this process.
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(number, SIG_IGN);
  put_programs_first(plan.programs);
  host::Result<host::Descriptor> end = take_lifeline();
  if (!end) return failed(std::move(end));
  if (host::Result<> prepared = prepare_network(); !prepared) return failed(std::move(prepared));
  asio::io_context loop;
  auto data_plane = DataPlane::make(loop, plan.description, inside_run_folder);
  if (!data_plane) return failed(std::move(data_plane));
  return ChassisProcess(plan, loop, std::move(*end), std::move(*data_plane)).run();
}

}  // namespace chassis
