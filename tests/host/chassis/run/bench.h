// A control plane on the real message bus in a temporary folder. The test takes the daemon's place: it owns
// the daemon's queue (721) and answers its messages. The supervised process does nothing.
#pragma once

#include <gtest/gtest.h>

#include <asio.hpp>
#include <chrono>
#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/bus/codec.h"
#include "host/bus/services.h"
#include "host/bus/socket.h"
#include "host/chassis/base/vlan_set.h"
#include "host/chassis/run/control_plane.h"
#include "opal/rcode.h"
#include "tests/host/chassis/base/run_until.h"
#include "tests/host/chassis/model/four_ports.h"
#include "tests/host/system/files.h"
#include "tests/host/system/temporary_folder.h"

namespace chassis {

namespace bus = opal::bus;

/// Interface index of ethernet 1/1.
inline constexpr std::uint32_t ethernet = 26U << 24;

class Bench : public ::testing::Test {
 protected:
  /// Starts a control plane; the test's queue comes up as the daemon.
  void start(Description description = four_ports());
  void TearDown() override;

  /// Sends the daemon's first heartbeat, and the answer of its loop.
  void come_up();

  /// Sends a request to a service, as the daemon's library does.
  std::optional<bus::Message> ask(bus::Address service, std::uint32_t opcode,
                                  std::span<const std::byte> payload,
                                  std::chrono::milliseconds bound = std::chrono::seconds{5});
  template <typename Response, typename Request>
  Response ask_record(bus::Address service, std::uint32_t opcode, const Request &request) {
    const auto message = ask(service, opcode, bus::bytes_of(request));
    const auto response = message ? bus::record_of<Response>(message->payload) : std::nullopt;
    EXPECT_TRUE(response.has_value()) << "opcode " << std::hex << opcode;
    return response.value_or(Response{});
  }
  template <typename Request>
  std::uint32_t ask_result(bus::Address service, std::uint32_t opcode, const Request &request) {
    return ask_record<bus::Result>(service, opcode, request).rcode;
  }

  void subscribe(std::uint32_t opcode);

  /// The next message in the daemon's queue that is not a barrier; barriers are answered as they come.
  std::optional<bus::Message> next_message(std::chrono::milliseconds bound = std::chrono::seconds{5});
  /// Takes the messages that have arrived so far.
  void take_arrived();
  void answer(const bus::Message &request, std::span<const std::byte> payload);

  /// Sends a request to the control address.
  nlohmann::json control(const nlohmann::json &request);
  nlohmann::json control_text(const std::string &request);

  std::vector<portsvc_l2_port_state_t> next_states();
  std::vector<ltlsvc_port_cbl_t> next_forwarding();
  bool nothing_waits();

  TemporaryFolder folder_;
  asio::io_context loop_;
  Fabric fabric_{[](AsicPort, auto) {}, [](auto) {}};
  KlmDevice klm_{[](IfIndex) { return true; }, [](IfIndex, teskk_port_counters_t &) { return true; }};
  std::vector<std::pair<AsicPort, bool>> carrier_changes_;
  int ready_ = 0;
  std::string failure_;
  std::unique_ptr<ControlPlane> control_plane_;
  std::optional<bus::Socket> queue_;
  std::optional<bus::Socket> caller_;
  std::deque<bus::Message> arrived_;
  bool answers_barriers_ = true;
  std::uint32_t token_ = 1;
};

}  // namespace chassis
