#include <gtest/gtest.h>

#include "host/bus/services.h"
#include "opal/overseer.h"
#include "tests/host/opal/program.h"

namespace opal::test {
namespace {

TEST(BareProgram, AWriteRequestWithoutACallbackIsAnsweredUnavailable) {
  bus::Socket asker = bind({0, 98});
  ASSERT_GE(queue(), 0);
  const bus::ConfigWrite request{};
  ASSERT_TRUE(asker.send(bus::address::tesk, bus::Kind::request, bus::opcode::config_write, 31,
                         bus::bytes_of(request)));
  std::optional<qbus_msg_ref_t> reference = take_message();
  ASSERT_TRUE(reference);
  EXPECT_EQ(overseer_dispatch(&*reference), 0);
  qbus_drop(queue(), &*reference);
  const std::optional<bus::Message> answer = receive(asker);
  ASSERT_TRUE(answer);
  EXPECT_EQ(bus::record_of<bus::Result>(answer->payload)->rcode, RCODE_UNAVAILABLE);
}

TEST(BareProgram, BeforeAHandshakeThereAreNoStores) {
  EXPECT_EQ(overseer_running_cfg_uri_get(), nullptr);
  EXPECT_EQ(overseer_startup_cfg_uri_get(), nullptr);
  EXPECT_STREQ(overseer_file_prefix_get(), "");
  EXPECT_EQ(overseer_heartbeat_timeout_get(), 30000u);
  EXPECT_EQ(overseer_conditional_srv_was_handshake_done(), 0);
  EXPECT_NE(overseer_heartbeat(1), 0);
}

}  // namespace
}  // namespace opal::test
