#include "host/chassis/wires/attachment.h"

#include <asio/io_context.hpp>

#include "host/chassis/asic/fabric.h"
#include "host/chassis/net/net_link.h"
#include "host/chassis/net/tun.h"
#include "tests/host/chassis/asic/frames.h"
#include "tests/host/chassis/base/run_until.h"
#include "tests/host/chassis/net/private_network.h"
#include "tests/host/system/results.h"

namespace chassis {
namespace {

using host::test::sentence_of;
using test::Bytes;

/// A TAP device is the interface, and the test is the equipment at its other end.
struct AttachmentTest : test::PrivateNetwork {
  AttachmentTest() {
    disable_ipv6();
    equipment = make_tun("eth1", TunKind::ethernet).value();
    attachment = Attachment::make(loop, "eth1", [this](auto buffer) {
                   const auto frame = buffer.subspan(asic_header_bytes);
                   arrived.emplace_back(frame.begin(), frame.end());
                 }).value();
    loop.poll();  // the socket reports that the interface was down before
  }
  void expect_arrived(const Bytes &frame) {
    EXPECT_TRUE(run_until(loop, [this] { return !arrived.empty(); }));
    EXPECT_EQ(arrived, std::vector<Bytes>{frame});
  }

  asio::io_context loop;
  host::Descriptor equipment;
  std::unique_ptr<Attachment> attachment;
  std::vector<Bytes> arrived;
};

TEST_F(AttachmentTest, PutsBackTheTagThatTheKernelTookOff) {
  auto frame = test::tagged_frame(100);
  frame[14] = std::byte{0xe0};  // priority 7
  test::put(equipment.get(), frame);
  expect_arrived(frame);
}

TEST_F(AttachmentTest, HandsOverAFrameWithoutATagAsItIs) {
  auto frame = test::bytes({2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2, 0x88, 0xb5});
  frame.resize(100, std::byte{0x5a});
  test::put(equipment.get(), frame);
  expect_arrived(frame);
}

TEST_F(AttachmentTest, DeliversToTheEquipmentAndDoesNotTakeThatFrameBack) {
  const auto frame = test::tagged_frame(100), answer = test::tagged_frame(200);
  attachment->deliver(frame);
  EXPECT_EQ(test::next_from(equipment.get()), frame);
  test::put(equipment.get(), answer);
  expect_arrived(answer);
}

TEST_F(AttachmentTest, StillTakesFramesAfterItsLinkWasDown) {
  EXPECT_EQ(sentence_of(attachment->set_link(false)), "");
  EXPECT_FALSE(test::is_up("eth1"));
  loop.run_one_for(std::chrono::seconds(5));  // the socket reports that the interface went down
  EXPECT_EQ(sentence_of(attachment->set_link(true)), "");
  const auto frame = test::tagged_frame(100);
  test::put(equipment.get(), frame);
  expect_arrived(frame);
}

TEST_F(AttachmentTest, NeedsAnInterface) {
  EXPECT_EQ(sentence_of(Attachment::make(loop, "eth9", [](auto) {})),
            "there is no interface eth9 to attach a port to");
}

}  // namespace
}  // namespace chassis
