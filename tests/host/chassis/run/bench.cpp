#include "tests/host/chassis/run/bench.h"
#include "tests/host/system/results.h"

namespace chassis {

void Bench::start(Description description) {
  const auto idle = write_program(folder_.path() / "idle", "exec sleep 1000");
  control_plane_ = std::make_unique<ControlPlane>(
      loop_, description, fabric_, klm_, ControlPlanePaths{folder_.path(), idle},
      ControlPlaneHooks{[this](AsicPort port, bool up) { carrier_changes_.emplace_back(port, up); },
                        [this] { ++ready_; }, [this](const std::string &why) { failure_ = why; },
                        [] {
                          return nlohmann::json{{"inb0", {{"rx", 7}}}};
                        }});
  ASSERT_EQ(host::test::sentence_of(control_plane_->start()), "");
  auto queue = bus::Socket::bind(folder_.path(), bus::address::tesk);
  ASSERT_TRUE(queue) << queue.error().cause.message();
  queue_ = std::move(*queue);
  auto caller = bus::Socket::bind_ephemeral(folder_.path());
  ASSERT_TRUE(caller) << caller.error().cause.message();
  caller_ = std::move(*caller);
}

void Bench::TearDown() {
  if (control_plane_) control_plane_->stop();
  control_plane_.reset();
}

void Bench::come_up() {
  const bus::Heartbeat first{738, 1};
  ASSERT_TRUE(caller_->send(bus::address::overseer, bus::Kind::notice, bus::opcode::heartbeat, 0,
                            bus::bytes_of(first)));
  const int before = ready_;
  ASSERT_TRUE(run_until(loop_, [&] {
    take_arrived();
    return ready_ > before;
  }));
}

void Bench::take_arrived() {
  while (auto message = queue_->receive()) {
    if (message->opcode == bus::opcode::barrier && answers_barriers_) {
      answer(*message, bus::bytes_of(bus::Result{0}));
    } else {
      arrived_.push_back(std::move(*message));
    }
  }
}

void Bench::answer(const bus::Message &request, std::span<const std::byte> payload) {
  ASSERT_TRUE(queue_->send(request.source, bus::Kind::response, request.opcode, request.token, payload));
}

std::optional<bus::Message> Bench::ask(bus::Address service, std::uint32_t opcode,
                                       std::span<const std::byte> payload, std::chrono::milliseconds bound) {
  const std::uint32_t token = token_++;
  EXPECT_TRUE(caller_->send(service, bus::Kind::request, opcode, token, payload));
  std::optional<bus::Message> response;
  run_until(
      loop_,
      [&] {
        take_arrived();
        auto message = caller_->receive();
        if (message && message->token == token) response = std::move(*message);
        return response.has_value();
      },
      bound);
  return response;
}

void Bench::subscribe(std::uint32_t opcode) {
  EXPECT_EQ(
      ask_result(bus::address::broker, bus::opcode::subscribe, bus::Subscription{opcode, bus::address::tesk}),
      0U);
}

std::optional<bus::Message> Bench::next_message(std::chrono::milliseconds bound) {
  run_until(
      loop_,
      [&] {
        take_arrived();
        return !arrived_.empty();
      },
      bound);
  if (arrived_.empty()) return std::nullopt;
  bus::Message message = std::move(arrived_.front());
  arrived_.pop_front();
  return message;
}

nlohmann::json Bench::control_text(const std::string &request) {
  const auto response = ask(bus::address::control, bus::opcode::control, bus::bytes_of_text(request));
  if (!response) return {{"ok", false}, {"error", "no answer"}};
  return nlohmann::json::parse(bus::text_of_bytes(response->payload));
}

nlohmann::json Bench::control(const nlohmann::json &request) { return control_text(request.dump()); }

std::vector<portsvc_l2_port_state_t> Bench::next_states() {
  const auto message = next_message();
  if (!message) return {};
  EXPECT_EQ(message->opcode, static_cast<std::uint32_t>(QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE));
  return bus::decode_l2_state_change(message->payload).value_or(std::vector<portsvc_l2_port_state_t>{});
}

std::vector<ltlsvc_port_cbl_t> Bench::next_forwarding() {
  const auto message = next_message();
  if (!message) return {};
  EXPECT_EQ(message->opcode, static_cast<std::uint32_t>(QBUS_OPC_LTLSVC_CBL_CHANGE));
  return bus::decode_cbl_change(message->payload).value_or(std::vector<ltlsvc_port_cbl_t>{});
}

bool Bench::nothing_waits() {
  take_arrived();
  return arrived_.empty();
}

}  // namespace chassis
