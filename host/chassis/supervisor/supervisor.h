// The supervisor: starts the daemon, checks that it comes up and stays up, and restarts it.
//
// A start is complete when the daemon has sent its first heartbeat and then answered a barrier, a request
// that its main loop answers after everything that was sent before it; so the announcements that greeted
// its subscriptions have been handled by then. This daemon sends two heartbeats in its life, one at
// start-up and one a heartbeat timeout later; a daemon that misses a heartbeat is killed. The process itself is
// watched too. However it ends, what it left behind is cleared (`gone`) before the next one starts. The pause
// before that start doubles from start to start, and is the first one again once a daemon has served for a while.
//
//   stopped ─start→ starting ─heartbeat, barrier→ serving
//                      ↑  └──────────exit───────────┤
//                  waiting ←──────────exit───────────┘
//                      └─ too many starts, none ever served → failed
//
// Before the daemon has served once, only `attempts` starts are made; after that the supervisor never
// gives up.
#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/bus/services.h"
#include "host/chassis/base/bounded_waits.h"
#include "host/chassis/base/journal.h"
#include "host/chassis/base/timer.h"
#include "host/chassis/endpoint/faults.h"
#include "host/chassis/endpoint/service.h"
#include "host/chassis/supervisor/daemon_process.h"

namespace chassis {

struct SupervisorSettings {
  using Milliseconds = std::chrono::milliseconds;
  Milliseconds heartbeat_timeout{15'000};
  Milliseconds start_bound{10'000};  ///< from start to serving; stores that lie on a slow disk take seconds
  Milliseconds first_pause{50};      ///< between the end of a daemon and the next start
  Milliseconds longest_pause{5'000};
  Milliseconds good_service{10'000};  ///< after which the pause is the first one again
  Milliseconds save_bound{2'000};
  Milliseconds barrier_bound{2'000};
  int attempts = 3;
};

struct SupervisorPaths {
  std::filesystem::path run_folder;
  std::filesystem::path daemon;
};

struct SupervisorHooks {
  std::function<void()> serving;                 ///< a start is complete
  std::function<void()> gone;                    ///< the daemon has ended; the next has not started
  std::function<void()> handled;                 ///< all that was sent before a barrier has been handled
  std::function<void(std::string why)> gave_up;  ///< it never served, and is not started any more
};

enum class DaemonState { stopped, starting, serving, ending, waiting, failed };
const char *state_name(DaemonState state);

class Supervisor : public Service {
 public:
  using Clock = std::chrono::steady_clock;
  using OnDone = std::function<void(bool done)>;
  using OnSaved = std::function<void(rcode_t)>;

  Supervisor(asio::io_context &loop, const FaultTable &faults, Journal &journal, SupervisorPaths paths,
             SupervisorHooks hooks, SupervisorSettings settings = {});
  ~Supervisor() override;

  /// Makes the stores' folders and starts the daemon, its endpoint being bound.
  [[nodiscard]] host::Result<> start();

  /// Kills the daemon and waits until it has ended.
  void stop();

  /// Kills the daemon, which is then started again.
  void kill_daemon();

  /// Runs `on_done` when the daemon has handled everything sent before; at once, with false, when none serves.
  void barrier(OnDone on_done);

  /// Asks the daemon to save its configuration to the startup store.
  void save(OnSaved on_saved);

  /// Runs `on_done` with true once the daemon serves, with false when it does not within `bound`.
  void wait_until_serving(std::chrono::milliseconds bound, OnDone on_done);

  DaemonState state() const { return state_; }
  std::optional<pid_t> pid() const { return process_ ? std::optional(process_->pid()) : std::nullopt; }
  int starts() const { return starts_; }
  /// When the present daemon, or the last one, was started.
  std::chrono::system_clock::time_point started() const { return started_; }
  int heartbeats() const { return heartbeats_; }
  bool handshaken() const { return handshaken_; }
  std::optional<int> start_status() const { return start_status_; }
  const std::string &last_exit() const { return last_exit_; }
  /// From the end of the last daemon until the present one served.
  std::optional<std::chrono::milliseconds> outage() const { return outage_; }

  /// Base URIs of the stores.
  std::string running_uri() const;
  std::string startup_uri() const;

 private:
  void serve_requests();
  bus::HandshakeAnswer take_handshake(const bus::Handshake &handshake);
  bus::StoreLocations store_locations() const;
  void take_heartbeat(const bus::Heartbeat &heartbeat);
  void launch();
  void expect(std::chrono::milliseconds bound, std::string otherwise);
  void await_loop();
  void now_serving();
  void ended(ExitStatus status);
  void after_end(const std::string &how);
  void give_up(const std::string &how);
  void schedule_launch();
  std::string last_words() const;

  struct Serving {};

  asio::io_context &loop_;
  Journal &journal_;
  SupervisorPaths paths_;
  SupervisorHooks hooks_;
  SupervisorSettings settings_;
  std::unique_ptr<DaemonProcess> process_;
  Timer deadline_;  ///< for what the daemon must do next
  Timer next_start_;
  std::chrono::milliseconds pause_;
  BoundedWaits<std::uint32_t, Serving> waiting_;
  std::uint32_t next_waiting_ = 1;
  std::uintmax_t log_start_ = 0;  ///< where the present daemon's output begins in its log

  DaemonState state_ = DaemonState::stopped;
  int starts_ = 0;
  std::chrono::system_clock::time_point started_;
  int heartbeats_ = 0;
  bool handshaken_ = false;
  bool ever_served_ = false;
  std::optional<int> start_status_;
  std::string last_exit_;
  std::string killed_because_;
  std::optional<Clock::time_point> serving_since_;  ///< the present daemon
  std::optional<Clock::time_point> died_at_;
  std::optional<std::chrono::milliseconds> outage_;
};

}  // namespace chassis
