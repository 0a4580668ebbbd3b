#include "opal/qbus.h"

#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <fstream>

#include "host/bus/services.h"
#include "opal/overseer.h"
#include "tests/host/opal/program.h"

namespace opal::test {
namespace {

constexpr bus::Address peer_address{0, 99};

class QbusTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(queue(), 0);
    drain_queue();
  }
  void TearDown() override { drain_queue(); }
  static bool selects() {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(queue(), &readable);
    timeval now{};
    return select(queue() + 1, &readable, nullptr, nullptr, &now) == 1;
  }
};

TEST_F(QbusTest, BindRefusesWhatItDoesNotKnow) {
  qbus_bind_options_t options{};
  options.version = 1;
  EXPECT_EQ(qbus_bind(2, 5000, &options, "x"), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(qbus_bind(1, 5000, nullptr, "x"), -1);
  EXPECT_EQ(errno, EINVAL);
  options.version = 2;
  EXPECT_EQ(qbus_bind(1, 5000, &options, "x"), -1);
  EXPECT_EQ(errno, EINVAL);
  options.version = 1;
  EXPECT_EQ(qbus_bind(1, 721, &options, "x"), -1);
  EXPECT_EQ(errno, EADDRINUSE);
  setenv("OPAL_RUN_DIR", "/nonexistent/folder", 1);
  EXPECT_EQ(qbus_bind(1, 5000, &options, "x"), -1);
  EXPECT_EQ(errno, ENOENT);
  setenv("OPAL_RUN_DIR", run_folder().c_str(), 1);
}

TEST_F(QbusTest, SaysWhenFewerMessagesCanWaitThanAskedFor) {
  int possible = 0;
  std::ifstream("/proc/sys/net/unix/max_dgram_qlen") >> possible;
  qbus_bind_options_t options{};
  options.version = 1;
  options.qlen = possible + 1;
  testing::internal::CaptureStderr();
  EXPECT_GE(qbus_bind(1, 5001, &options, "Long queue"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Long queue: only " + std::to_string(possible) + " of " + std::to_string(possible + 1) +
                " messages can wait; raise net.unix.max_dgram_qlen\n");
}

TEST_F(QbusTest, IsReadableForSelectWhileAMessageWaits) {
  bus::Socket peer = bind(peer_address);
  EXPECT_FALSE(selects());
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 1, 0, {}));
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 2, 0, {}));
  for (const uint32_t opcode : {1u, 2u}) {
    EXPECT_TRUE(selects());
    qbus_msg_ref_t reference{};
    ASSERT_EQ(qbus_recv(queue(), &reference, 0), 0);
    EXPECT_EQ(qbus_opc_get(&reference), opcode);
    EXPECT_EQ(qbus_drop(queue(), &reference), 0);
  }
  EXPECT_FALSE(selects());
  qbus_msg_ref_t reference{};
  EXPECT_EQ(qbus_recv(queue(), &reference, 0), -1);
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(QbusTest, AMessageIsItsPayloadUntilItIsDropped) {
  bus::Socket peer = bind(peer_address);
  const std::uint64_t payload = 0x1122334455667788;
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::response, 0x11003, 55, bus::bytes_of(payload)));
  std::optional<qbus_msg_ref_t> reference = take_message();
  ASSERT_TRUE(reference);
  EXPECT_EQ(qbus_opc_get(&*reference), 0x11003u);
  EXPECT_EQ(qbus_is_response(&*reference), 1);
  EXPECT_EQ(qbus_rr_token_get(&*reference), 55u);
  EXPECT_EQ(qbus_payload_size_get(&*reference), 8u);
  ASSERT_NE(qbus_payload_get(&*reference), nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(qbus_payload_get(&*reference)) % 8, 0u);
  EXPECT_EQ(*static_cast<std::uint64_t *>(qbus_payload_get(&*reference)), payload);
  const qbus_msg_ref_t copy = *reference;
  EXPECT_EQ(qbus_drop(queue(), &*reference), 0);
  EXPECT_EQ(qbus_payload_get(&copy), nullptr);
  EXPECT_EQ(qbus_opc_get(&copy), 0u);
  EXPECT_EQ(qbus_payload_size_get(&copy), 0u);
  EXPECT_EQ(qbus_drop(queue(), &*reference), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(QbusTest, AReferenceNeverStandsForALaterMessage) {
  bus::Socket peer = bind(peer_address);
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 1, 0, {}));
  std::optional<qbus_msg_ref_t> first = take_message();
  ASSERT_TRUE(first);
  qbus_drop(queue(), &*first);
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 2, 0, {}));
  std::optional<qbus_msg_ref_t> second = take_message();
  ASSERT_TRUE(second);
  EXPECT_EQ(qbus_opc_get(&*first), 0u);
  EXPECT_EQ(qbus_opc_get(&*second), 2u);
  qbus_msg_ref_t made_up = *second;
  made_up.word[1] = 0xffffffff;
  EXPECT_EQ(qbus_opc_get(&made_up), 0u);
  const qbus_msg_ref_t zero{};
  EXPECT_EQ(qbus_opc_get(&zero), 0u);
  qbus_drop(queue(), &*second);
}

TEST_F(QbusTest, AMessageWithoutPayloadHasNone) {
  bus::Socket peer = bind(peer_address);
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 1, 0, {}));
  std::optional<qbus_msg_ref_t> reference = take_message();
  ASSERT_TRUE(reference);
  EXPECT_EQ(qbus_payload_get(&*reference), nullptr);
  EXPECT_EQ(qbus_is_response(&*reference), 0);
  qbus_drop(queue(), &*reference);
}

TEST_F(QbusTest, ARequestAndItsResponseHaveOneToken) {
  bus::Socket peer = bind(peer_address);
  const std::uint32_t payload = 7;
  qbus_msg_ref_t sent[2]{};
  for (qbus_msg_ref_t &reference : sent)
    ASSERT_EQ(fu_qbus_send(queue(), {0, 99}, 0x5C2D, &payload, sizeof payload, &reference, 0, 0), 0);
  EXPECT_NE(qbus_rr_token_get(&sent[0]), qbus_rr_token_get(&sent[1]));
  for (qbus_msg_ref_t &reference : sent) {
    const std::optional<bus::Message> request = receive(peer);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->kind, bus::Kind::request);
    EXPECT_EQ(request->source, bus::address::tesk);
    EXPECT_EQ(request->token, qbus_rr_token_get(&reference));
    EXPECT_EQ(bus::record_of<std::uint32_t>(request->payload), payload);
    ASSERT_TRUE(peer.send(request->source, bus::Kind::response, request->opcode, request->token, {}));
    std::optional<qbus_msg_ref_t> response = take_message();
    ASSERT_TRUE(response);
    EXPECT_EQ(qbus_is_response(&*response), 1);
    EXPECT_EQ(qbus_rr_token_get(&*response), qbus_rr_token_get(&reference));
    qbus_drop(queue(), &*response);
    EXPECT_EQ(qbus_drop(queue(), &reference), 0);
  }
}

TEST_F(QbusTest, ASendNeverWaitsAndSaysWhyItFailed) {
  qbus_msg_ref_t reference{};
  EXPECT_EQ(fu_qbus_send(queue(), {0, 99}, 1, nullptr, 0, &reference, 0, 0), ECONNREFUSED);
  EXPECT_EQ(qbus_errno_get(queue()), ECONNREFUSED);
  const std::vector<std::byte> large(bus::payload_limit + 1);
  EXPECT_EQ(
      fu_qbus_send(queue(), {0, 99}, 1, large.data(), static_cast<uint32_t>(large.size()), &reference, 0, 0),
      EMSGSIZE);
  EXPECT_EQ(qbus_errno_get(queue()), EMSGSIZE);
  const bus::Socket peer = bind(peer_address);
  int error = 0;
  for (int count = 0; count < 5000 && error == 0; ++count)
    error = fu_qbus_send(queue(), {0, 99}, 1, nullptr, 0, nullptr, 0, 0);
  EXPECT_EQ(error, ENOBUFS);
  EXPECT_EQ(qbus_errno_get(queue()), ENOBUFS);
}

TEST_F(QbusTest, AReplyGoesToTheSenderOfTheRequest) {
  bus::Socket peer = bind(peer_address);
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::request, 0x20401, 88, {}));
  std::optional<qbus_msg_ref_t> request = take_message();
  ASSERT_TRUE(request);
  const std::uint32_t payload = 5;
  EXPECT_EQ(qbus_reply(queue(), &*request, &payload, sizeof payload), 0);
  const std::optional<bus::Message> reply = receive(peer);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->kind, bus::Kind::response);
  EXPECT_EQ(reply->opcode, 0x20401u);
  EXPECT_EQ(reply->token, 88u);
  EXPECT_EQ(bus::record_of<std::uint32_t>(reply->payload), payload);
  qbus_drop(queue(), &*request);
  EXPECT_EQ(qbus_reply(queue(), &*request, &payload, sizeof payload), EINVAL);
  EXPECT_EQ(qbus_errno_get(queue()), EINVAL);
}

TEST_F(QbusTest, ANoticeCannotBeAnswered) {
  bus::Socket peer = bind(peer_address);
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 0x20401, 0, {}));
  std::optional<qbus_msg_ref_t> notice = take_message();
  ASSERT_TRUE(notice);
  EXPECT_EQ(qbus_reply(queue(), &*notice, nullptr, 0), EINVAL);
  qbus_drop(queue(), &*notice);
}

TEST_F(QbusTest, ASubscriptionTellsTheBrokerOpcodeAndQueue) {
  Service broker = Service::answering(bus::address::broker, bus::Result{RCODE_SUCCESS});
  EXPECT_EQ(qbus_options_set(queue(), 0x43C, 0x11), 0);
  const std::optional<bus::Message> request = broker.request();
  ASSERT_TRUE(request);
  EXPECT_EQ(request->opcode, bus::opcode::subscribe);
  const std::optional<bus::Subscription> subscription = bus::record_of<bus::Subscription>(request->payload);
  ASSERT_TRUE(subscription);
  EXPECT_EQ(subscription->opcode, 0x43Cu);
  EXPECT_EQ(subscription->queue, bus::address::tesk);
  EXPECT_NE(request->source, bus::address::tesk);
}

TEST_F(QbusTest, ASubscriptionFailsWithinItsBound) {
  EXPECT_EQ(qbus_options_set(queue(), 0x43C, 0x11), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  {
    const Service refusing = Service::answering(bus::address::broker, bus::Result{RCODE_REFUSED});
    EXPECT_EQ(qbus_options_set(queue(), 0x43C, 0x11), -1);
    EXPECT_EQ(errno, EACCES);
  }
  const Service silent = Service::silent(bus::address::broker);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(qbus_options_set(queue(), 0x43C, 0x11), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4 * bus::call_timeout_ms));
}

TEST_F(QbusTest, AnOpcodeWithoutSubscriptionNeedsNoBroker) {
  EXPECT_EQ(qbus_options_set(queue(), 0x1DFF, 0x1), 0);
  EXPECT_EQ(qbus_options_set(queue(), 0x1DFF, 0x100), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(qbus_options_set(12345, 0x1DFF, 0x1), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(QbusTest, OpcodesHaveNames) {
  EXPECT_STREQ(qbus_opc_name_get(0xF407), "QBUS_OPC_PORTSVC_L2_PROTOCOL_STATE_CHANGE");
  EXPECT_STREQ(qbus_opc_name_get(0x43C), "QBUS_OPC_LC_ONLINE");
  for (const uint32_t opcode : {0x20401u, 0x20402u, 0x1DFFu, 0x11003u, 0x11004u, 0x5C22u, 0x1DEFu, 0x1101Au,
                                0x5C2Du, 0x5C2Eu, 0x30016u})
    EXPECT_STRNE(qbus_opc_name_get(opcode), "QBUS_OPC_UNKNOWN") << opcode;
  EXPECT_STREQ(qbus_opc_name_get(1), "QBUS_OPC_UNKNOWN");
}

TEST_F(QbusTest, AMalformedDatagramIsNoMessageAndTheNextOneIs) {
  const bus::Header header{0, 1, bus::Kind::notice, 1, 0, {}, 0, 0};
  bus::Socket peer = bind(peer_address);
  const host::Descriptor raw(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, (run_folder() / "bus" / "0.721").c_str(), sizeof address.sun_path - 1);
  ASSERT_GT(
      sendto(raw.get(), &header, sizeof header, 0, reinterpret_cast<sockaddr *>(&address), sizeof address),
      0);
  ASSERT_TRUE(peer.send(bus::address::tesk, bus::Kind::notice, 3, 0, {}));
  std::optional<qbus_msg_ref_t> reference = take_message();
  ASSERT_TRUE(reference);
  EXPECT_EQ(qbus_opc_get(&*reference), 3u);
  qbus_drop(queue(), &*reference);
}

}  // namespace
}  // namespace opal::test
