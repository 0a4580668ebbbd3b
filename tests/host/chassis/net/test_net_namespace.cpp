#include "host/chassis/net/net_namespace.h"

#include "host/chassis/net/tun.h"
#include "tests/host/chassis/net/private_network.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;

struct NetNamespaceTest : test::PrivateNetwork {};

TEST_F(NetNamespaceTest, HasItsLoopbackUpAndItsNameInOrder) {
  const auto second = NetNamespace::make("blade2").value();
  const auto first = NetNamespace::make("blade1").value();
  EXPECT_EQ(net_namespace_names(), (std::vector<std::string>{"blade1", "blade2"}));
  bool up = false;
  EXPECT_EQ(sentence_of(first.run([&]() -> host::Result<> {
              up = test::is_up("lo");
              return {};
            })),
            "");
  EXPECT_TRUE(up);
  EXPECT_FALSE(test::is_up("lo"));
}

TEST_F(NetNamespaceTest, ContainsWhatIsMadeInItAndNotItsMaker) {
  const auto blade = NetNamespace::make("blade1").value();
  unsigned inside = 0;
  const auto made = blade.run([&]() -> host::Result<> {
    auto device = make_tun("wire", TunKind::ethernet);
    if (!device) return failed(std::move(device));
    inside = if_nametoindex("wire");
    return {};
  });
  EXPECT_EQ(sentence_of(made), "");
  EXPECT_NE(inside, 0U);
  EXPECT_EQ(if_nametoindex("wire"), 0U);
  EXPECT_EQ(sentence_of(enter_net_namespace("blade1")), "");
  EXPECT_EQ(if_nametoindex("wire"), inside);
}

TEST_F(NetNamespaceTest, HandsOnTheFailureOfTheWork) {
  const auto blade = NetNamespace::make("blade1").value();
  EXPECT_EQ(sentence_of(blade.run([]() -> host::Result<> { return host::failure("no room"); })), "no room");
}

TEST_F(NetNamespaceTest, IsMadeOncePerName) {
  const auto blade = NetNamespace::make("blade1").value();
  EXPECT_EQ(sentence_of(NetNamespace::make("blade1")),
            "network namespace blade1: making its file failed: File exists");
}

TEST_F(NetNamespaceTest, WithoutTheNameIsNotEnteredAndTheOthersAreNamed) {
  const auto first = NetNamespace::make("amm").value(), second = NetNamespace::make("blade1").value();
  EXPECT_EQ(sentence_of(enter_net_namespace("blade9")),
            "there is no node 'blade9'; there are amm, blade1, and switch");
}

}  // namespace
}  // namespace chassis
