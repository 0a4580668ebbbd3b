// The number of messages that may wait is a setting of the network namespace, so each case runs in a
// process with its own namespace.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "host/bus/socket.h"
#include "tests/host/system/results.h"
#include "tests/host/system/temporary_folder.h"

namespace opal::bus {
namespace {

constexpr Address receiver_address{0, 721};
constexpr int namespace_refused = 77;

/// Makes a network namespace in which `length` messages may wait.
bool enter_namespace(int length) {
  const uid_t user = geteuid();
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  std::ofstream("/proc/self/uid_map") << user << " " << user << " 1\n";
  std::ofstream setting("/proc/sys/net/unix/max_dgram_qlen");
  setting << length << std::flush;
  return setting.good();
}

/// Runs `body` in a child process. @return its exit status
template <typename Body>
int in_process(Body body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Sends payloads of `bytes` until the queue is full, then reads them all back.
/// @return 0, or a number that says what went wrong
int fill_and_drain(const std::filesystem::path &folder, std::uint32_t expected, std::size_t bytes) {
  host::Result<Socket> receiver = Socket::bind(folder, receiver_address);
  host::Result<Socket> sender = Socket::bind(folder, {0, 5});
  if (!receiver || !sender) return 1;
  const std::vector<std::byte> payload(bytes);
  std::uint32_t sent = 0;
  host::Result<> last;
  while (sent < 2 * expected && (last = sender->send(receiver_address, Kind::request, 1, sent, payload)))
    ++sent;
  if (host::test::cause_of(last) != ENOBUFS || sender->counters().refused_full != 1) return 2;
  if (sent < expected || sent > expected + 1) return 3;
  for (std::uint32_t token = 0; token < sent; ++token) {
    const host::Result<Message> message = receiver->receive();
    if (!message || message->token != token || message->payload.size() != bytes) return 4;
  }
  if (host::test::cause_of(receiver->receive()) != EAGAIN) return 5;
  return sender->send(receiver_address, Kind::request, 1, sent, payload) ? 0 : 6;
}

class FullQueueTest : public testing::TestWithParam<std::size_t> {};

TEST_P(FullQueueTest, Holds1024MessagesOfOneSenderAndRefusesMore) {
  const TemporaryFolder folder;
  const int status = in_process([&] {
    if (!enter_namespace(1024)) return namespace_refused;
    return fill_and_drain(folder.path(), 1024, GetParam());
  });
  if (status == namespace_refused) GTEST_SKIP() << "no network namespaces here";
  EXPECT_EQ(status, 0);
}

INSTANTIATE_TEST_SUITE_P(PayloadBytes, FullQueueTest, testing::Values(0, 100, 1100));

}  // namespace
}  // namespace opal::bus
