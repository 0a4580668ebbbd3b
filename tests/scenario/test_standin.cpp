/* What the stand-in refuses: calls that only a daemon at fault makes. */
#include <gtest/gtest-spi.h>
#include <sys/ioctl.h>

#include "opal/kvs.h"
#include "tests/unit/daemon_test.h"

namespace {

class StandIn : public DaemonTest {
 protected:
  StandIn() { ports_.port_cnt = vlans_.vlan_cnt = 1; }
  ~StandIn() override { ignore_rest(); }

  int push_port(uint32_t if_index) {
    ports_.port_lst[0].if_idx = if_index;
    return ioctl(module_descriptor, TESKK_ADD_OR_UPDATE_PORTS, &ports_);
  }

  int push_vlan(uint16_t vlan) {
    vlans_.vlan_lst[0].vlan = vlan;
    return ioctl(module_descriptor, TESKK_ADD_OR_UPDATE_VLANS, &vlans_);
  }

  static int delete_port(uint32_t if_index) { return ioctl(module_descriptor, TESKK_DEL_PORT, &if_index); }
  static int delete_vlan(uint16_t vlan) { return ioctl(module_descriptor, TESKK_DEL_VLAN, &vlan); }

 private:
  teskk_port_list_t ports_{};
  teskk_vlan_list_t vlans_{};
};

TEST_F(StandIn, RefusesDeletionsOfWhatTheModuleNeverHad) {
  EXPECT_NONFATAL_FAILURE(delete_port(ethernet(3)), "does not have: port 0x1a000003");
  EXPECT_NONFATAL_FAILURE(delete_vlan(100), "does not have: VLAN 100");
}

TEST_F(StandIn, RefusesASecondDeletion) {
  push_port(ethernet(3));
  push_vlan(100);
  delete_port(ethernet(3));
  delete_vlan(100);
  EXPECT_NONFATAL_FAILURE(delete_port(ethernet(3)), "does not have: port 0x1a000003");
  EXPECT_NONFATAL_FAILURE(delete_vlan(100), "does not have: VLAN 100");
}

TEST_F(StandIn, AcceptsTheDeletionOfARecordWhosePushFailed) {
  when("ioctl").call(1).returns(-1);
  when("ioctl").call(2).returns(-1);
  push_port(ethernet(3));
  push_vlan(100);
  EXPECT_EQ(delete_port(ethernet(3)), 0);
  EXPECT_EQ(delete_vlan(100), 0);
}

TEST_F(StandIn, RefusesAStoreThatWasNeverOpened) {
  rcode_t result = 0;
  EXPECT_NONFATAL_FAILURE(kvs_move2location(7, KVS_LOCATION_FIRST, &result), "handle 7 was never opened");
  EXPECT_NONFATAL_FAILURE(kvs_close(7), "handle 7 was never opened");
}

TEST_F(StandIn, RefusesAClosedStore) {
  const kvs_service_t handle = open_store(running_store);
  kvs_close(handle);
  EXPECT_NONFATAL_FAILURE(kvs_max_key(handle, 8), "handle 1 is closed");
  EXPECT_NONFATAL_FAILURE(kvs_close(handle), "handle 1 is closed");
}

TEST_F(StandIn, AnswersTheHandleOfAFailedOpen) {
  EXPECT_EQ(kvs_max_key(0, 8), static_cast<rcode_t>(RCODE_INVALID));
}

}  // namespace
