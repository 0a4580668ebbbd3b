#include "bench/relay/daemon_under_test.h"

#include <asio/post.hpp>
#include <nlohmann/json.hpp>

#include "bench/relay/failure.h"
#include "bench/relay/frames.h"

namespace bench {
namespace {

/// True for every index that names an interface. The module's loader checks the device with one that does
/// not.
bool is_interface(chassis::IfIndex index) { return index.value != 0; }

chassis::Description description() {
  chassis::Description description;
  description.name = "bench";
  for (std::uint8_t port = 1; port <= asic_ports; ++port) {
    chassis::PortDescription one;
    one.port = {port};
    one.vlans = {chassis::sol_vlan};
    description.ports.push_back(one);
  }
  return description;
}

}  // namespace

DaemonUnderTest::DaemonUnderTest(const std::filesystem::path &run_folder, const std::filesystem::path &daemon)
    : fabric_([](chassis::AsicPort, std::span<const std::byte>) {}, [](std::span<const std::byte>) {}),
      klm_(is_interface, [](chassis::IfIndex, teskk_port_counters_t &) { return true; }),
      control_plane_(loop_, description(), fabric_, klm_, {run_folder, daemon}, hooks()) {}

chassis::ControlPlaneHooks DaemonUnderTest::hooks() {
  const auto tell = [this](const std::string &why) {
    if (!told_) {
      told_ = true;
      served_ = Clock::now();
      ready_.set_value(why);
    }
  };
  return {[](chassis::AsicPort, bool) {}, [tell] { tell(""); }, tell,
          [] { return nlohmann::json::object(); }};
}

void DaemonUnderTest::start() {
  must(klm_.mount(TESKK_DEVICE));
  klm_watch_.emplace(loop_, klm_.fd(), [this] {
    klm_.serve();
    return chassis::ReadResult::nothing;
  });
  started_ = Clock::now();
  must(control_plane_.start());
  thread_ = std::thread([this] { loop_.run(); });
}

void DaemonUnderTest::wait_until_ready() {
  if (const std::string refusal = ready_.get_future().get(); !refusal.empty()) {
    throw Failure(refusal);
  }
}

double DaemonUnderTest::start_ms() const {
  return std::chrono::duration<double, std::milli>(served_ - started_).count();
}

pid_t DaemonUnderTest::pid() {
  std::promise<nlohmann::json> status;
  asio::post(loop_, [&] { status.set_value(control_plane_.status()); });
  return status.get_future().get().at("daemon").at("pid").get<pid_t>();
}

DaemonUnderTest::~DaemonUnderTest() {
  loop_.stop();
  if (thread_.joinable()) {
    thread_.join();
  }
  control_plane_.stop();
}

}  // namespace bench
