#include "host/bus/socket.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "host/bus/services.h"
#include "tests/host/bus/raw_socket.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace opal::bus {
namespace {

using host::test::cause_of;

constexpr Address daemon_address{0, 721};

class SocketTest : public testing::Test {
 protected:
  std::filesystem::path name(const char *address) const { return folder_.path() / "bus" / address; }
  Socket bound(Address address) {
    host::Result<Socket> socket = Socket::bind(folder_.path(), address);
    EXPECT_EQ(cause_of(socket), 0);
    return std::move(*socket);
  }
  static std::vector<std::byte> bytes(std::initializer_list<int> values) {
    std::vector<std::byte> result;
    for (const int value : values) result.push_back(static_cast<std::byte>(value));
    return result;
  }
  static bool readable(const Socket &socket, int timeout_ms = 0) {
    pollfd waiting{socket.fd(), POLLIN, 0};
    return poll(&waiting, 1, timeout_ms) == 1;
  }
  TemporaryFolder folder_;
};

TEST_F(SocketTest, PutsTheHeaderAndThePayloadOnTheWireAsDescribed) {
  Socket sender = bound({0xfe000000, 167});
  const host::Descriptor receiver = raw_bound(name("0.721"));
  ASSERT_TRUE(receiver);
  ASSERT_TRUE(sender.send(daemon_address, Kind::response, 0x1DFF, 0x01020304, bytes({0xaa, 0xbb, 0xcc})));
  const std::vector<std::uint8_t> expected = {
      0x73, 0x75, 0x62, 0x71, 0x01, 0x00, 0x02, 0x00,  // magic, version 1, response
      0xff, 0x1d, 0x00, 0x00, 0x04, 0x03, 0x02, 0x01,  // opcode, token
      0x00, 0x00, 0x00, 0xfe, 0xa7, 0x00, 0x00, 0x00,  // source node and SAP
      0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // length, reserved
      0xaa, 0xbb, 0xcc};
  EXPECT_EQ(raw_receive(receiver), expected);
  EXPECT_EQ(sender.counters().sent, 1u);
}

TEST_F(SocketTest, ReceivesAMessageWholeAndWithItsSource) {
  Socket receiver = bound(daemon_address);
  Socket sender = bound({0, 5});
  EXPECT_FALSE(readable(receiver));
  ASSERT_TRUE(sender.send(daemon_address, Kind::request, 0x11003, 77, bytes({1, 2, 3})));
  EXPECT_TRUE(readable(receiver));
  const host::Result<Message> message = receiver.receive();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->kind, Kind::request);
  EXPECT_EQ(message->opcode, 0x11003u);
  EXPECT_EQ(message->token, 77u);
  EXPECT_EQ(message->source, (Address{0, 5}));
  EXPECT_EQ(message->payload, bytes({1, 2, 3}));
  EXPECT_FALSE(readable(receiver));
  EXPECT_EQ(cause_of(receiver.receive()), EAGAIN);
}

TEST_F(SocketTest, CarriesTheLargestPayloadAndRefusesALargerOne) {
  Socket receiver = bound(daemon_address);
  Socket sender = bound({0, 5});
  std::vector<std::byte> payload(payload_limit, std::byte{0x5a});
  ASSERT_TRUE(sender.send(daemon_address, Kind::notice, 1, 0, payload));
  const host::Result<Message> message = receiver.receive();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->payload, payload);
  payload.push_back(std::byte{0});
  EXPECT_EQ(cause_of(sender.send(daemon_address, Kind::notice, 1, 0, payload)), EMSGSIZE);
  EXPECT_FALSE(readable(receiver));
}

TEST_F(SocketTest, TellsAnAbsentPeer) {
  Socket sender = bound({0, 5});
  EXPECT_EQ(cause_of(sender.send(daemon_address, Kind::notice, 1, 0, {})), ECONNREFUSED);
  EXPECT_EQ(sender.counters().refused_absent, 1u);
  { Socket died = bound(daemon_address); }
  EXPECT_EQ(cause_of(sender.send(daemon_address, Kind::notice, 1, 0, {})), ECONNREFUSED);
  EXPECT_FALSE(std::filesystem::exists(name("0.721")));
}

TEST_F(SocketTest, RefusesAnAddressWhoseOwnerLives) {
  const Socket owner = bound(daemon_address);
  EXPECT_EQ(cause_of(Socket::bind(folder_.path(), daemon_address)), EADDRINUSE);
}

TEST_F(SocketTest, TakesOverANameThatADeadOwnerLeftBehind) {
  std::filesystem::create_directory(folder_.path() / "bus");
  { const host::Descriptor dead = raw_bound(name("0.721")); }
  ASSERT_TRUE(std::filesystem::exists(name("0.721")));
  Socket taker = bound(daemon_address);
  Socket sender = bound({0, 5});
  EXPECT_TRUE(sender.send(daemon_address, Kind::notice, 1, 0, {}));
  EXPECT_TRUE(readable(taker));
}

TEST_F(SocketTest, NeedsAnExistingFolderWithAShortName) {
  EXPECT_EQ(cause_of(Socket::bind(folder_.path() / "missing", daemon_address)), ENOENT);
  const std::filesystem::path deep = folder_.path() / std::string(100, 'x');
  std::filesystem::create_directory(deep);
  EXPECT_EQ(cause_of(Socket::bind(deep, daemon_address)), ENAMETOOLONG);
}

TEST_F(SocketTest, KeepsTheFolderToItsUser) {
  const Socket socket = bound(daemon_address);
  EXPECT_EQ(std::filesystem::status(folder_.path() / "bus").permissions(), std::filesystem::perms::owner_all);
}

struct Malformed {
  const char *what;
  std::size_t size;    ///< of the datagram
  std::size_t offset;  ///< byte to change, or none
  std::uint8_t value;
};

class MalformedTest : public SocketTest, public testing::WithParamInterface<Malformed> {};

TEST_P(MalformedTest, IsCountedDroppedAndFollowedByTheNextMessage) {
  Socket receiver = bound(daemon_address);
  Header header{magic, version, Kind::notice, 7, 0, {0, 5}, 4, 0};
  std::vector<std::byte> datagram(std::max<std::size_t>(GetParam().size, sizeof header + 4));
  std::memcpy(datagram.data(), &header, sizeof header);
  if (GetParam().offset < sizeof header) datagram[GetParam().offset] = std::byte{GetParam().value};
  datagram.resize(GetParam().size);
  const host::Descriptor raw = raw_socket();
  ASSERT_TRUE(raw_send(raw, name("0.721"), datagram));
  Socket sender = bound({0, 5});
  ASSERT_TRUE(sender.send(daemon_address, Kind::notice, 9, 0, {}));
  const host::Result<Message> message = receiver.receive();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->opcode, 9u);
  EXPECT_EQ(receiver.counters().malformed, 1u);
  EXPECT_EQ(receiver.counters().received, 1u);
}

constexpr std::size_t unchanged = 1000;
INSTANTIATE_TEST_SUITE_P(
    Datagrams, MalformedTest,
    testing::Values(Malformed{"Empty", 0, unchanged, 0}, Malformed{"OneByte", 1, unchanged, 0},
                    Malformed{"ShortHeader", 31, unchanged, 0}, Malformed{"Magic", 36, 0, 0x74},
                    Malformed{"OlderVersion", 36, 4, 0}, Malformed{"NewerVersion", 36, 4, 2},
                    Malformed{"NoKind", 36, 6, 0}, Malformed{"TwoKinds", 36, 6, 3},
                    Malformed{"LengthTooSmall", 36, 24, 3}, Malformed{"LengthTooLarge", 36, 24, 5},
                    Malformed{"HugeLength", 36, 27, 0xff}, Malformed{"CutPayload", 33, unchanged, 0},
                    Malformed{"Oversized", sizeof(Header) + payload_limit + 1, unchanged, 0}),
    [](const auto &instance) { return instance.param.what; });

TEST_F(SocketTest, TheUnchangedDatagramOfTheMalformedOnesIsAMessage) {
  Socket receiver = bound(daemon_address);
  std::vector<std::byte> datagram(36);
  const Header header{magic, version, Kind::notice, 7, 0, {0, 5}, 4, 0};
  std::memcpy(datagram.data(), &header, sizeof header);
  const host::Descriptor raw = raw_socket();
  ASSERT_TRUE(raw_send(raw, name("0.721"), datagram));
  EXPECT_TRUE(receiver.receive());
}

TEST_F(SocketTest, DropsWhatAnotherUserSends) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can send as another user";
  Socket receiver = bound(daemon_address);
  const host::Descriptor raw = raw_socket();
  const sockaddr_un address = raw_address(name("0.721"));
  ASSERT_EQ(connect(raw.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  const pid_t child = fork();
  if (child == 0) {
    const Header header{magic, version, Kind::notice, 7, 0, {0, 5}, 0, 0};
    const bool sent = setresuid(65534, 65534, 65534) == 0 && send(raw.get(), &header, sizeof header, 0) > 0;
    _exit(sent ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  ASSERT_TRUE(readable(receiver));
  EXPECT_EQ(cause_of(receiver.receive()), EAGAIN);
  EXPECT_EQ(receiver.counters().foreign, 1u);
  EXPECT_EQ(receiver.counters().received, 0u);
}

TEST_F(SocketTest, EphemeralAddressesDiffer) {
  const host::Result<Socket> one = Socket::bind_ephemeral(folder_.path());
  const host::Result<Socket> other = Socket::bind_ephemeral(folder_.path());
  ASSERT_TRUE(one && other);
  EXPECT_NE(one->address(), other->address());
  EXPECT_GE(one->address().sap, 0x10000u);
}

TEST_F(SocketTest, AMovedSocketKeepsItsName) {
  Socket first = bound(daemon_address);
  Socket second = std::move(first);
  Socket other = bound({0, 5});
  EXPECT_TRUE(other.send(daemon_address, Kind::notice, 1, 0, {}));
  other = std::move(second);
  EXPECT_TRUE(readable(other));
  EXPECT_FALSE(std::filesystem::exists(name("0.5")));
}

/// A service that answers the first request with each of the given messages.
class Answers {
 public:
  struct Answer {
    std::uint32_t opcode;
    std::uint32_t token_offset;
    Kind kind;
  };
  Answers(Socket socket, std::vector<Answer> answers)
      : thread_([socket = std::move(socket), answers = std::move(answers)]() mutable {
          pollfd waiting{socket.fd(), POLLIN, 0};
          if (poll(&waiting, 1, 5000) != 1) return;
          const host::Result<Message> request = socket.receive();
          if (!request) return;
          for (const Answer &answer : answers) {
            socket.send(request->source, answer.kind, answer.opcode, request->token + answer.token_offset,
                        bytes_of(Result{answer.opcode}));
          }
        }) {}
  ~Answers() { thread_.join(); }

 private:
  std::thread thread_;
};

/// How long an asker busy-polls for its answer before it sleeps.
class AskingSocketTest : public SocketTest, public testing::WithParamInterface<std::chrono::microseconds> {};
INSTANTIATE_TEST_SUITE_P(Attention, AskingSocketTest,
                         testing::Values(std::chrono::microseconds(0), std::chrono::microseconds(100),
                                         std::chrono::hours(1)));

TEST_P(AskingSocketTest, TakesOnlyTheResponseToItsOwnRequest) {
  Socket asker = bound(daemon_address);
  asker.busy_poll_for(GetParam());
  const Answers answers(
      bound(address::board),
      {{5, 1, Kind::response}, {6, 0, Kind::response}, {5, 0, Kind::notice}, {5, 0, Kind::response}});
  const host::Result<Message> answer = asker.ask(address::board, 5, {}, 5000);
  ASSERT_EQ(cause_of(answer), 0);
  EXPECT_EQ(answer->kind, Kind::response);
  EXPECT_EQ(answer->opcode, 5u);
  EXPECT_EQ(asker.counters().received, 4u);
}

TEST_P(AskingSocketTest, EndsAtItsBoundWhenNobodyAnswers) {
  Socket asker = bound(daemon_address);
  asker.busy_poll_for(GetParam());
  const Socket silent = bound(address::board);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(cause_of(asker.ask(address::board, 5, {}, 50)), ETIMEDOUT);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(50));
  EXPECT_LT(waited, std::chrono::seconds(2));
}

TEST_F(SocketTest, AskFailsAtOnceWhenTheServiceIsAbsent) {
  Socket asker = bound(daemon_address);
  EXPECT_EQ(cause_of(asker.ask(address::board, 5, {}, 5000)), ECONNREFUSED);
}

}  // namespace
}  // namespace opal::bus
