#include "host/chassis/sandbox/lent_interfaces.h"

#include <csignal>
#include <optional>

#include "host/chassis/net/tun.h"
#include "tests/host/chassis/net/private_network.h"
#include "tests/host/chassis/sandbox/in_child.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;

/// A process in a network of its own, which it keeps until it is killed.
class Borrower {
 public:
  Borrower() {
    std::array<int, 2> ends{};
    test::must(pipe2(ends.data(), O_CLOEXEC) == 0, "pipe");
    const host::Descriptor ready(ends[0]);
    host::Descriptor start(ends[1]);
    process_ = fork();
    if (process_ == 0) {
      if (unshare(CLONE_NEWNET) == 0 && write(start.get(), "+", 1) == 1) pause();
      _exit(1);
    }
    char byte = 0;
    start = host::Descriptor();
    test::must(read(ready.get(), &byte, 1) == 1, "a network");
  }
  Borrower(const Borrower &) = delete;
  Borrower &operator=(const Borrower &) = delete;
  ~Borrower() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  pid_t process() const { return process_; }
  bool has(const char *interface) const {
    const host::Descriptor network(open(("/proc/" + std::to_string(process_) + "/ns/net").c_str(), O_RDONLY));
    return test::in_child(
        [&] { return setns(network.get(), CLONE_NEWNET) == 0 && if_nametoindex(interface) != 0; });
  }

 private:
  pid_t process_ = -1;
};

struct LentInterfacesTest : test::PrivateNetwork {
  host::Descriptor device = make_tun("eth1", TunKind::ethernet).value();
  Borrower borrower;
};

TEST_F(LentInterfacesTest, AreInTheOtherNetworkUntilTheyComeBack) {
  {
    const auto lent = LentInterfaces::lend({"eth1"}, borrower.process());
    EXPECT_EQ(sentence_of(lent), "");
    EXPECT_EQ(if_nametoindex("eth1"), 0U);
    EXPECT_TRUE(borrower.has("eth1"));
  }
  EXPECT_NE(if_nametoindex("eth1"), 0U);
  EXPECT_FALSE(borrower.has("eth1"));
}

TEST_F(LentInterfacesTest, ComeBackWhenAnotherOneCannotBeLent) {
  EXPECT_EQ(sentence_of(LentInterfaces::lend({"eth1", "eth9"}, borrower.process())),
            "interface eth9 cannot be moved into the sandbox");
  EXPECT_NE(if_nametoindex("eth1"), 0U);
}

TEST_F(LentInterfacesTest, AreOnTheMachineBefore) {
  EXPECT_EQ(sentence_of(check_lendable({"eth1"})), "");
  EXPECT_EQ(sentence_of(check_lendable({"eth1", "eth9"})),
            "interface eth9, to which a port is attached, does not exist on this machine; see: ip link");
}

}  // namespace
}  // namespace chassis
