/* Sending a message to another service. */
#include <cerrno>
#include <cstring>
#include <string>

#include "tesk/tesk_qbus.h"
#include "tests/unit/daemon_test.h"

namespace {

/** Sends from a daemon whose queue is bound. */
class Sending : public DaemonTest {
 protected:
  Sending() { tesk_qbus_q = queue_descriptor; }

  static constexpr qbus_addr_t vlan_manager = {0xfe000000u, 167};
};

TEST_F(Sending, DropsTheReplyReferenceThatNobodyAskedFor) {
  EXPECT_EQ(tesk_qbus_send(0x5c2d, "hello", 5, vlan_manager, nullptr), 0u);
  expect({"fu_qbus_send(30, {node 0xfe000000, sap 167}, 0x5c2d, 'hello', 0, 0)",
          "qbus_drop(30, request 1000)", control("tesk_qbus_send", "Sent qbus QBUS_OPC_VLAN_FEAT_CREATE\n")});
}

TEST_F(Sending, SucceedsWhenTheReplyReferenceCannotBeDropped) {
  when("qbus_drop").returns(-1).with_errno(EINVAL);
  EXPECT_EQ(tesk_qbus_send(0x5c2d, "hello", 5, vlan_manager, nullptr), 0u);
  expect({"fu_qbus_send(30, {node 0xfe000000, sap 167}, 0x5c2d, 'hello', 0, 0)",
          "qbus_drop(30, request 1000)", control("tesk_qbus_send", "Sent qbus QBUS_OPC_VLAN_FEAT_CREATE\n")});
}

TEST_F(Sending, HandsTheReplyReferenceToItsCaller) {
  qbus_msg_ref_t reply = {};
  EXPECT_EQ(tesk_qbus_send(0x5c2e, "hello", 5, vlan_manager, &reply), 0u);
  EXPECT_EQ(qbus_rr_token_get(&reply), 1000u);
  expect({"fu_qbus_send(30, {node 0xfe000000, sap 167}, 0x5c2e, 'hello', 0, 0)",
          control("tesk_qbus_send", "Sent qbus QBUS_OPC_VLAN_FEAT_DELETE\n")});
  EXPECT_EQ(qbus_drop(queue_descriptor, &reply), 0);
  forget();
}

TEST_F(Sending, ReturnsTheServicesErrorAndTracesItAsControl) {
  when("qbus_errno_get").returns(ENOBUFS);
  for (const int result : {-1, 1}) {
    when("fu_qbus_send").returns(result);
    qbus_msg_ref_t reply = {};
    EXPECT_EQ(tesk_qbus_send(0x5c2d, "hello", 5, vlan_manager, &reply), static_cast<rcode_t>(ENOBUFS));
    expect({"fu_qbus_send(30, {node 0xfe000000, sap 167}, 0x5c2d, 'hello', 0, 0)",
            control("Qbus send error rc = 105 [" + std::string(std::strerror(ENOBUFS)) + "]\n"),
            control("Sent qbus QBUS_OPC_VLAN_FEAT_CREATE\n")});
    EXPECT_EQ(reply.word[0], 0u) << "an output that a failure must leave alone";
  }
}

}  // namespace
