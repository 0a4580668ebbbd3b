#include "opal/overseer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/bus/services.h"
#include "tests/host/opal/program.h"

namespace {

/// What the library passed to the program's callback.
struct Written {
  std::string bin;
  std::string debug;
  rcode_t answer = RCODE_SUCCESS;
};
std::optional<Written> written;
rcode_t answer_of_write = RCODE_SUCCESS;

}  // namespace

int overseercb_cfg_write(qbus_msg_ref_t *request, const char *bin_base_uri, const char *debug_base_uri) {
  written = Written{bin_base_uri, debug_base_uri, answer_of_write};
  EXPECT_EQ(overseer_cfg_action_done(request, answer_of_write), 0);
  return 0;
}

namespace opal::test {
namespace {

constexpr bus::Address asker_address{0, 98};

bus::HandshakeAnswer settings() {
  bus::HandshakeAnswer answer{};
  answer.heartbeat_timeout_ms = 15000;
  answer.conditional_done = 1;
  return answer;
}

bus::StoreLocations stores() {
  bus::StoreLocations answer{};
  bus::set_text(answer.running_uri, "file:///run/opal/stores/running/");
  bus::set_text(answer.startup_uri, "file:///run/opal/stores/startup/");
  bus::set_text(answer.file_prefix, "sup1_");
  return answer;
}

class OverseerTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(queue(), 0);
    drain_queue();
    written.reset();
    answer_of_write = RCODE_SUCCESS;
  }
  void handshake(const bus::HandshakeAnswer &answer) {
    const Service overseer = Service::answering(bus::address::overseer, answer);
    ASSERT_EQ(overseer_handshake(queue(), 738), 0);
  }
  /// Sends one request to the program and has the library dispatch it. @return the library's result
  int dispatch(bus::Socket &asker, bus::Kind kind, std::uint32_t opcode, bus::Bytes payload) {
    EXPECT_TRUE(asker.send(bus::address::tesk, kind, opcode, 31, payload));
    std::optional<qbus_msg_ref_t> reference = take_message();
    EXPECT_TRUE(reference);
    const int result = overseer_dispatch(&*reference);
    EXPECT_EQ(qbus_drop(queue(), &*reference), result == 1 ? -1 : 0);
    return result;
  }
  static rcode_t answer(bus::Socket &asker) {
    const std::optional<bus::Message> message = receive(asker);
    const std::optional<bus::Result> result =
        message ? bus::record_of<bus::Result>(message->payload) : std::nullopt;
    EXPECT_TRUE(result);
    EXPECT_EQ(message->token, 31u);
    return result ? result->rcode : rcode_t{0xffffffff};
  }
};

TEST_F(OverseerTest, TheHandshakeTellsWhoIsThereAndFetchesTheSettings) {
  Service overseer = Service::answering(bus::address::overseer, settings());
  EXPECT_EQ(overseer_handshake(queue(), 738), 0);
  const std::optional<bus::Message> request = overseer.request();
  const auto handshake = bus::record_of<bus::Handshake>(request->payload);
  ASSERT_TRUE(handshake);
  EXPECT_EQ(request->opcode, bus::opcode::handshake);
  EXPECT_EQ(handshake->uuid, 738u);
  EXPECT_EQ(handshake->pid, getpid());
  EXPECT_EQ(handshake->queue, bus::address::tesk);
  EXPECT_EQ(overseer_heartbeat_timeout_get(), 15000u);
  EXPECT_NE(overseer_conditional_srv_was_handshake_done(), 0);
}

TEST_F(OverseerTest, TheStoresAreKnownWithoutAHandshake) {
  const Service overseer = Service::answering(bus::address::overseer, stores());
  EXPECT_STREQ(overseer_running_cfg_uri_get(), "file:///run/opal/stores/running/");
  EXPECT_STREQ(overseer_startup_cfg_uri_get(), "file:///run/opal/stores/startup/");
  EXPECT_STREQ(overseer_file_prefix_get(), "sup1_");
  EXPECT_STREQ(overseer_uri_complete(overseer_running_cfg_uri_get(), overseer_file_prefix_get(), "tesk_cfg"),
               "file:///run/opal/stores/running/sup1_tesk_cfg");
}

TEST_F(OverseerTest, AUriStaysWhereItIsWhileOthersAreAskedFor) {
  const char *running = nullptr;
  {
    const Service overseer = Service::answering(bus::address::overseer, stores());
    running = overseer_running_cfg_uri_get();
    EXPECT_EQ(overseer_running_cfg_uri_get(), running);
  }
  bus::StoreLocations moved = stores();
  bus::set_text(moved.running_uri, "file:///another/folder/of/the/running/stores/");
  const Service overseer = Service::answering(bus::address::overseer, moved);
  EXPECT_STREQ(overseer_running_cfg_uri_get(), "file:///another/folder/of/the/running/stores/");
  EXPECT_STREQ(running, "file:///run/opal/stores/running/");
}

TEST_F(OverseerTest, AnEmptyUriIsNone) {
  bus::StoreLocations answer = stores();
  bus::set_text(answer.startup_uri, "");
  const Service overseer = Service::answering(bus::address::overseer, answer);
  EXPECT_EQ(overseer_startup_cfg_uri_get(), nullptr);
  EXPECT_STREQ(overseer_uri_complete(nullptr, "p", "name"), "");
  EXPECT_STREQ(overseer_uri_complete("file:///x/", nullptr, "name"), "file:///x/name");
}

TEST_F(OverseerTest, WithoutASupervisorEveryCallEndsWithACode) {
  {
    const Service overseer = Service::answering(bus::address::overseer, stores());
    EXPECT_STREQ(overseer_file_prefix_get(), "sup1_");
  }
  handshake(settings());
  EXPECT_EQ(static_cast<rcode_t>(overseer_handshake(queue(), 738)), RCODE_UNAVAILABLE);
  EXPECT_EQ(static_cast<rcode_t>(overseer_heartbeat(1)), RCODE_UNAVAILABLE);
  EXPECT_EQ(static_cast<rcode_t>(overseer_condition_verified(0, 0)), RCODE_UNAVAILABLE);
  EXPECT_EQ(static_cast<rcode_t>(overseer_notify_conditional_srv_start_status(0)), RCODE_UNAVAILABLE);
  const Service silent = Service::silent(bus::address::overseer);
  EXPECT_EQ(static_cast<rcode_t>(overseer_handshake(queue(), 738)), RCODE_TIMED_OUT);
  EXPECT_STREQ(overseer_file_prefix_get(), "sup1_") << "the last answer holds";
}

TEST_F(OverseerTest, AnAnswerOfTheWrongSizeIsCorrupt) {
  const std::uint32_t word = 0;
  const Service garbled = Service::answering(bus::address::overseer, word);
  EXPECT_EQ(static_cast<rcode_t>(overseer_handshake(queue(), 738)), RCODE_CORRUPT);
}

TEST_F(OverseerTest, HeartbeatsAreNoticesFromTheQueue) {
  handshake(settings());
  bus::Socket overseer = bind(bus::address::overseer);
  for (const std::uint32_t first : {1u, 0u}) {
    EXPECT_EQ(overseer_heartbeat(static_cast<int>(first)), 0);
    const std::optional<bus::Message> beat = receive(overseer);
    ASSERT_TRUE(beat);
    EXPECT_EQ(beat->kind, bus::Kind::notice);
    EXPECT_EQ(beat->source, bus::address::tesk);
    EXPECT_EQ(bus::record_of<bus::Heartbeat>(beat->payload)->uuid, 738u);
    EXPECT_EQ(bus::record_of<bus::Heartbeat>(beat->payload)->first, first);
  }
}

TEST_F(OverseerTest, ReportsTheStartAndAsksForConditions) {
  handshake(settings());
  Service overseer = Service::answering(bus::address::overseer, bus::Result{RCODE_REFUSED});
  EXPECT_EQ(static_cast<rcode_t>(overseer_notify_conditional_srv_start_status(-3)), RCODE_REFUSED);
  const std::optional<bus::Message> report = overseer.request();
  EXPECT_EQ(bus::record_of<bus::StartStatus>(report->payload)->status, -3);
  EXPECT_EQ(static_cast<rcode_t>(overseer_condition_verified(7, 9)), RCODE_REFUSED);
  const std::optional<bus::Message> condition = overseer.request();
  EXPECT_EQ(bus::record_of<bus::Condition>(condition->payload)->instance, 9u);
}

TEST_F(OverseerTest, ABarrierIsAnsweredAndReleased) {
  bus::Socket asker = bind(asker_address);
  EXPECT_EQ(dispatch(asker, bus::Kind::request, bus::opcode::barrier, {}), 1);
  EXPECT_EQ(answer(asker), RCODE_SUCCESS);
}

TEST_F(OverseerTest, AWriteRequestReachesTheProgramsCallbackAndItsResultTheAsker) {
  bus::Socket asker = bind(asker_address);
  bus::ConfigWrite request{};
  bus::set_text(request.bin_uri, "file:///startup/");
  bus::set_text(request.debug_uri, "file:///debug/");
  for (const rcode_t status : {rcode_t{RCODE_SUCCESS}, rcode_t{RCODE_IO}}) {
    answer_of_write = status;
    EXPECT_EQ(dispatch(asker, bus::Kind::request, bus::opcode::config_write, bus::bytes_of(request)), 0);
    ASSERT_TRUE(written);
    EXPECT_EQ(written->bin, "file:///startup/");
    EXPECT_EQ(written->debug, "file:///debug/");
    EXPECT_EQ(answer(asker), status);
  }
}

TEST_F(OverseerTest, AMalformedWriteRequestIsRefusedWithoutTheCallback) {
  bus::Socket asker = bind(asker_address);
  const std::uint32_t word = 0;
  EXPECT_EQ(dispatch(asker, bus::Kind::request, bus::opcode::config_write, bus::bytes_of(word)), 0);
  EXPECT_EQ(answer(asker), RCODE_INVALID);
  EXPECT_FALSE(written);
}

TEST_F(OverseerTest, AUriThatFillsItsFieldIsStillAText) {
  bus::Socket asker = bind(asker_address);
  bus::ConfigWrite request{};
  std::memset(&request, 'u', sizeof request);
  EXPECT_EQ(dispatch(asker, bus::Kind::request, bus::opcode::config_write, bus::bytes_of(request)), 0);
  ASSERT_TRUE(written);
  EXPECT_EQ(written->bin, std::string(bus::uri_bytes, 'u'));
}

TEST_F(OverseerTest, OtherMessagesAreNotTheSupervisors) {
  bus::Socket asker = bind(asker_address);
  EXPECT_EQ(dispatch(asker, bus::Kind::notice, 0x43C, {}), -1);
  EXPECT_EQ(dispatch(asker, bus::Kind::request, 0x1DFF, {}), -1);
  EXPECT_EQ(dispatch(asker, bus::Kind::notice, bus::opcode::barrier, {}), -1);
  qbus_msg_ref_t nothing{};
  EXPECT_EQ(overseer_dispatch(&nothing), -1);
}

}  // namespace
}  // namespace opal::test
