#include "host/chassis/supervisor/supervisor.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <fstream>

#include "host/chassis/base/run_files.h"

namespace chassis {

namespace {

constexpr std::size_t last_words_lines = 3;
constexpr std::size_t last_words_bytes = 2048;

std::filesystem::path log_of(const SupervisorPaths &paths) { return paths.run_folder / daemon_log; }

std::chrono::milliseconds since(Supervisor::Clock::time_point then) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Supervisor::Clock::now() - then);
}

}  // namespace

const char *state_name(DaemonState state) {
  switch (state) {
    case DaemonState::stopped:
      return "stopped";
    case DaemonState::starting:
      return "starting";
    case DaemonState::serving:
      return "serving";
    case DaemonState::ending:
      return "ending";
    case DaemonState::waiting:
      return "waiting to start again";
    case DaemonState::failed:
      return "failed";
  }
  return "unknown";
}

Supervisor::Supervisor(asio::io_context &loop, const FaultTable &faults, Journal &journal,
                       SupervisorPaths paths, SupervisorHooks hooks, SupervisorSettings settings)
    : Service(loop, faults, "overseer", bus::address::overseer),
      loop_(loop),
      journal_(journal),
      paths_(std::move(paths)),
      hooks_(std::move(hooks)),
      settings_(settings),
      deadline_(loop),
      next_start_(loop),
      pause_(settings.first_pause),
      waiting_(loop) {
  serve_requests();
}

Supervisor::~Supervisor() = default;

void Supervisor::serve_requests() {
  endpoint_.serve<bus::Handshake>(
      bus::opcode::handshake, "handshake",
      [this](const bus::Handshake &handshake, const bus::Message &) { return take_handshake(handshake); });
  endpoint_.serve<Nothing>(bus::opcode::store_locations, "store-locations",
                           [this](Nothing, const bus::Message &) { return store_locations(); });
  endpoint_.serve_notice<bus::Heartbeat>(
      bus::opcode::heartbeat, [this](const bus::Heartbeat &heartbeat) { take_heartbeat(heartbeat); });
  endpoint_.serve<bus::Condition>(
      bus::opcode::condition, "condition",
      [](const bus::Condition &, const bus::Message &) { return bus::Result{RCODE_SUCCESS}; });
  endpoint_.serve<bus::StartStatus>(bus::opcode::start_status, "start-status",
                                    [this](const bus::StartStatus &report, const bus::Message &) {
                                      start_status_ = report.status;
                                      return bus::Result{RCODE_SUCCESS};
                                    });
  endpoint_.serve_messages(bus::opcode::save, "", [this](const bus::Message &request) {
    if (!request.payload.empty()) return endpoint_.answer_malformed(request);
    save([this, request](rcode_t rcode) { endpoint_.answer_result(request, rcode); });
  });
}

std::string Supervisor::running_uri() const {
  return fmt::format("file://{}/stores/running/", paths_.run_folder.string());
}

std::string Supervisor::startup_uri() const {
  return fmt::format("file://{}/stores/startup/", paths_.run_folder.string());
}

host::Result<> Supervisor::start() {
  if (access(paths_.daemon.c_str(), X_OK) != 0) {
    return host::failure(
        fmt::format("the daemon {} is not a program that can be started", paths_.daemon.string()));
  }
  for (const char *kind : {"running", "startup"}) {
    std::error_code error;
    const auto folder = paths_.run_folder / "stores" / kind;
    std::filesystem::create_directories(folder, error);
    if (error) {
      return host::failure(error,
                           fmt::format("cannot make the folder {}: {}", folder.string(), error.message()));
    }
  }
  launch();
  return {};
}

void Supervisor::stop() {
  state_ = DaemonState::stopped;
  deadline_.cancel();
  next_start_.cancel();
  process_.reset();
  waiting_.give_up_all();
}

void Supervisor::kill_daemon() {
  if (!process_) return;
  state_ = DaemonState::ending;
  process_->signal(SIGKILL);
}

void Supervisor::launch() {
  ++starts_;
  started_ = std::chrono::system_clock::now();
  state_ = DaemonState::starting;
  heartbeats_ = 0;
  handshaken_ = false;
  serving_since_.reset();
  start_status_.reset();
  killed_because_.clear();
  std::error_code no_log_yet;
  log_start_ = std::filesystem::file_size(log_of(paths_), no_log_yet);
  if (no_log_yet) log_start_ = 0;
  auto started = DaemonProcess::start(loop_, paths_.daemon, paths_.run_folder, log_of(paths_));
  if (!started) return after_end(started.error().what);
  process_ = std::move(*started);
  journal_.line(fmt::format("tesk started as process {} (start {})", process_->pid(), starts_));
  process_->on_exit([this](ExitStatus status) { ended(status); });
  expect(settings_.start_bound, fmt::format("did not serve within {}", settings_.start_bound));
}

/// Kills the daemon unless the deadline is set again or cancelled before `bound` has passed.
void Supervisor::expect(std::chrono::milliseconds bound, std::string otherwise) {
  deadline_.set(bound, [this, otherwise = std::move(otherwise)] {
    killed_because_ = otherwise;
    kill_daemon();
  });
}

bus::HandshakeAnswer Supervisor::take_handshake(const bus::Handshake &handshake) {
  handshaken_ = true;
  journal_.line(fmt::format("tesk (service {}) made its handshake", handshake.uuid));
  bus::HandshakeAnswer answer{};
  answer.rcode = RCODE_SUCCESS;
  answer.heartbeat_timeout_ms = static_cast<std::uint32_t>(settings_.heartbeat_timeout.count());
  answer.conditional_done = 0;  // the daemon asks for its conditions itself
  return answer;
}

bus::StoreLocations Supervisor::store_locations() const {
  bus::StoreLocations locations{};
  locations.rcode = RCODE_SUCCESS;
  bus::set_text(locations.running_uri, running_uri());
  bus::set_text(locations.startup_uri, startup_uri());
  return locations;
}

void Supervisor::take_heartbeat(const bus::Heartbeat &) {
  if (!process_) return;
  ++heartbeats_;
  if (heartbeats_ == 1) return await_loop();
  // This daemon's heartbeat is complete; from now on only its process is watched.
  if (state_ == DaemonState::serving) deadline_.cancel();
}

/// The first heartbeat shows that the daemon is coming up; its main loop answers the barrier.
void Supervisor::await_loop() {
  endpoint_.ask(bus::address::tesk, bus::opcode::barrier, {}, settings_.start_bound,
                [this, start = starts_](const bus::Message *response) {
                  if (response != nullptr && start == starts_ && state_ == DaemonState::starting)
                    now_serving();
                });
}

void Supervisor::now_serving() {
  state_ = DaemonState::serving;
  ever_served_ = true;
  serving_since_ = Clock::now();
  if (died_at_) {
    outage_ = since(*died_at_);
    died_at_.reset();
    journal_.line(fmt::format("tesk serves again after {}", *outage_));
  } else {
    journal_.line("tesk serves");
  }
  deadline_.cancel();
  if (handshaken_ && heartbeats_ < 2) {
    const auto bound = 2 * settings_.heartbeat_timeout;
    expect(bound, fmt::format("sent no heartbeat within {}", bound));
  }
  constexpr Serving serving{};
  waiting_.answer_all(&serving);
  if (hooks_.serving) hooks_.serving();
}

void Supervisor::ended(ExitStatus status) {
  const std::string why = killed_because_.empty() ? "" : fmt::format(" because it {}", killed_because_);
  after_end(fmt::format("tesk {}{}", describe(status), why));
}

void Supervisor::after_end(const std::string &how) {
  if (serving_since_ && since(*serving_since_) >= settings_.good_service) pause_ = settings_.first_pause;
  if (ever_served_ && !died_at_) died_at_ = Clock::now();
  last_exit_ = how;
  journal_.line(how);
  deadline_.cancel();
  process_.reset();
  state_ = DaemonState::waiting;
  endpoint_.give_up_waiting();
  if (hooks_.gone) hooks_.gone();
  if (!ever_served_ && starts_ >= settings_.attempts) return give_up(how);
  schedule_launch();
}

void Supervisor::give_up(const std::string &how) {
  state_ = DaemonState::failed;
  waiting_.give_up_all();
  const std::string words = last_words();
  std::string why = fmt::format("the daemon did not come up in {} starts: {}", starts_, how);
  if (!words.empty()) why += fmt::format("; its last words were: {}", words);
  journal_.line(why);
  if (hooks_.gave_up) hooks_.gave_up(why);
}

void Supervisor::schedule_launch() {
  next_start_.set(pause_, [this] { launch(); });
  pause_ = std::min(2 * pause_, settings_.longest_pause);
}

std::string Supervisor::last_words() const {
  std::ifstream log(log_of(paths_));
  log.seekg(0, std::ios::end);
  const auto size = static_cast<std::uintmax_t>(std::max<std::streamoff>(log.tellg(), 0));
  const std::uintmax_t from = std::max(log_start_, size > last_words_bytes ? size - last_words_bytes : 0);
  log.seekg(static_cast<std::streamoff>(from));
  std::deque<std::string> lines;
  for (std::string line; std::getline(log, line);) {
    if (line.empty()) continue;
    lines.push_back(line);
    if (lines.size() > last_words_lines) lines.pop_front();
  }
  return fmt::format("{}", fmt::join(lines, " | "));
}

void Supervisor::barrier(OnDone on_done) {
  if (state_ != DaemonState::serving) return on_done(false);
  endpoint_.ask(bus::address::tesk, bus::opcode::barrier, {}, settings_.barrier_bound,
                [this, on_done = std::move(on_done)](const bus::Message *response) {
                  if (response != nullptr && hooks_.handled) hooks_.handled();
                  on_done(response != nullptr);
                });
}

void Supervisor::save(OnSaved on_saved) {
  if (state_ != DaemonState::serving) return on_saved(RCODE_UNAVAILABLE);
  bus::ConfigWrite request{};
  bus::set_text(request.bin_uri, startup_uri());
  bus::set_text(request.debug_uri, running_uri());
  endpoint_.ask(bus::address::tesk, bus::opcode::config_write, bus::bytes_of(request), settings_.save_bound,
                [on_saved = std::move(on_saved)](const bus::Message *response) {
                  if (response == nullptr) return on_saved(RCODE_TIMED_OUT);
                  const auto result = record_in<bus::Result>(*response);
                  on_saved(result ? result->rcode : static_cast<rcode_t>(RCODE_CORRUPT));
                });
}

void Supervisor::wait_until_serving(std::chrono::milliseconds bound, OnDone on_done) {
  if (state_ == DaemonState::serving) return on_done(true);
  if (state_ == DaemonState::failed || state_ == DaemonState::stopped) return on_done(false);
  waiting_.add(next_waiting_++, bound,
               [on_done = std::move(on_done)](const Serving *serving) { on_done(serving != nullptr); });
}

}  // namespace chassis
