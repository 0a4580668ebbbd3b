/* The interface-index table: buckets, inserting, finding, deleting, and its mirror in the kernel module. */
#include <iterator>

#include "tesk/tesk_krnl_adapter.h"
#include "tests/unit/tables.h"

namespace {

constexpr uint32_t unknown_type = 0x99000001;

class InterfaceTable : public TablesTest {
 protected:
  /** Inserts a new context and forgets the record of that. */
  static tesk_port_t *has(uint32_t if_index) {
    tesk_port_t *port = loose_port(if_index, static_cast<uint8_t>(if_index));
    EXPECT_TRUE(tesk_ifindex_hash_insert(if_index, port));
    forget();
    return port;
  }
};

TEST_F(InterfaceTable, ChoosesTheBucketByChannelOrPortNumber) {
  const struct {
    uint32_t if_index;
    uint32_t bucket;
  } expected[] = {{ethernet(0), 0},        {ethernet(19), 19},   {ethernet(31), 31},    {ethernet(32), 0},
                  {ethernet(35), 3},       {port_channel(3), 3}, {port_channel(32), 0}, {port_channel(33), 1},
                  {port_channel(4096), 0}, {0x05000001, 0}};
  for (const auto &row : expected)
    EXPECT_EQ(tesk_ifindex_hash_fn(row.if_index, 32), row.bucket) << row.if_index;
  EXPECT_EQ(tesk_ifindex_hash_fn(ethernet(19), 8), 3u) << "of as many buckets as are told";
  expect({});
}

TEST_F(InterfaceTable, PutsAnIndexOfUnknownTypeIntoBucketZero) {
  EXPECT_EQ(tesk_ifindex_hash_fn(unknown_type, 32), 0u);
  EXPECT_EQ(tesk_ifindex_hash_fn(0x7, 32), 0u);
  expect({error_of("tesk_ifindex_hash_fn", ": Invalid interface index 99000001\n"),
          error_of("tesk_ifindex_hash_fn", ": Invalid interface index 00000007\n")});
}

TEST_F(InterfaceTable, PutsAnIndexWhoseNumberCannotBeReadIntoBucketZero) {
  when("if_index_port_channel_get_channel_num").returns(RCODE_INVALID);
  when("if_index_get_port").returns(RCODE_INVALID);
  EXPECT_EQ(tesk_ifindex_hash_fn(port_channel(3), 32), 0u);
  EXPECT_EQ(tesk_ifindex_hash_fn(ethernet(3), 32), 0u);
  expect({error_of("tesk_ifindex_hash_fn",
                   ":if_index_port_channel_get_channel_num failed for ifindex 0x16000003\n"),
          error_of("tesk_ifindex_hash_fn", ":if_index_get_port failed for ifindex 0x1a000003\n")});
}

TEST_F(InterfaceTable, PushesAnEntryAtOnce) {
  tesk_port_t *port = loose_port(ethernet(3), 3);
  EXPECT_TRUE(tesk_ifindex_hash_insert(ethernet(3), port));
  expect(port_pushed("0x1a000003 type 26 asic 3 []"));
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), port);
  EXPECT_EQ(ifidx_bucket[3]->if_index, ethernet(3));
}

TEST_F(InterfaceTable, RefusesAnIndexThatIsTakenAndKeepsTheFirst) {
  tesk_port_t *first = has(ethernet(3));
  tesk_port_t *second = loose_port(ethernet(3), 4);
  EXPECT_FALSE(tesk_ifindex_hash_insert(ethernet(3), second));
  expect({error_of("tesk_ifindex_hash_insert", ": IfIndex (0x1a000003) already exists on Hash Tbl\n")});
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), first);
  EXPECT_EQ(ifidx_bucket[3]->next, nullptr);
  std::free(second);
}

TEST_F(InterfaceTable, TracesAShortIndexThatIsTakenWithoutZeros) {
  has(0x5000003);
  EXPECT_FALSE(tesk_ifindex_hash_insert(0x5000003, nullptr));
  expect({error_of("tesk_ifindex_hash_insert", ": IfIndex (0x5000003) already exists on Hash Tbl\n")});
}

TEST_F(InterfaceTable, IsSilentWhenMemoryIsShort) {
  tesk_port_t *port = loose_port(ethernet(3), 3);
  fail_allocation(1);
  EXPECT_FALSE(tesk_ifindex_hash_insert(ethernet(3), port));
  expect({});
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  std::free(port);
}

TEST_F(InterfaceTable, KeepsAnEntryThatTheKernelModuleRefuses) {
  tesk_port_t *port = loose_port(ethernet(3), 3);
  when("ioctl").returns(-1).with_errno(EIO);
  EXPECT_TRUE(tesk_ifindex_hash_insert(ethernet(3), port));
  expect(lines(port_pushed("0x1a000003 type 26 asic 3 []"),
               error("tesk_krnl_add_or_update_ports", "ioctl failure: 5\n")));
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), port);
}

TEST_F(InterfaceTable, KeepsAnEntryThatCannotBePushed) {
  EXPECT_TRUE(tesk_ifindex_hash_insert(ethernet(3), nullptr));
  expect(lines(entered("tesk_krnl_add_or_update_port"), entered("tesk_krnl_add_or_update_ports"),
               error("tesk_krnl_add_or_update_ports", "Invalid Port instance\n"),
               error("tesk_ifindex_hash_insert", "Synchronization with kernel failed\n")));
  EXPECT_NE(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), nullptr);
}

TEST_F(InterfaceTable, FindsAChannelAndAPortThatShareABucketByTheirWholeIndex) {
  const tesk_port_t *channel = has(port_channel(3));
  const tesk_port_t *port = has(ethernet(35));
  const tesk_port_t *other = has(ethernet(3));
  EXPECT_EQ(tesk_ifindex_hash_find(port_channel(3)), channel);
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(35)), port);
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(3)), other);
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(67)), nullptr);
  EXPECT_EQ(ifidx_bucket[3]->param, other) << "new entries go to the head";
  expect({});
}

TEST_F(InterfaceTable, FindsTheLinkThatPointsAtAnEntry) {
  has(ethernet(3));
  has(ethernet(35));
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(35)), &ifidx_bucket[3]);
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), &ifidx_bucket[3]->next);
}

TEST_F(InterfaceTable, StoresAndFindsAnIndexOfUnknownTypeInBucketZero) {
  tesk_port_t *port = loose_port(unknown_type, 7);
  EXPECT_TRUE(tesk_ifindex_hash_insert(unknown_type, port));
  EXPECT_EQ(ifidx_bucket[0]->param, port);
  EXPECT_EQ(tesk_ifindex_hash_find(unknown_type), port);
  const Line invalid = error_of("tesk_ifindex_hash_fn", ": Invalid interface index 99000001\n");
  expect_apart_from_control(
      {invalid, invalid, "ioctl(31, add_or_update_ports, {0x99000001 type 153 asic 7 []})", invalid});
}

TEST_F(InterfaceTable, TakesAMiddleEntryOutAndKeepsItsNeighbours) {
  has(ethernet(3));
  tesk_port_t *middle = has(ethernet(35));
  has(port_channel(3));
  EXPECT_TRUE(tesk_ifindex_hash_delete(ethernet(35)));
  expect(port_removed(ethernet(35)));
  EXPECT_EQ(tesk_ifindex_hash_find(ethernet(35)), nullptr);
  EXPECT_NE(tesk_ifindex_hash_find(ethernet(3)), nullptr);
  EXPECT_NE(tesk_ifindex_hash_find(port_channel(3)), nullptr);
  std::free(middle);  // the table does not free the context
}

TEST_F(InterfaceTable, TakesAnEntryOutThoughTheKernelModuleRefuses) {
  tesk_port_t *port = has(ethernet(3));
  when("ioctl").returns(-1).with_errno(ENODEV);
  EXPECT_TRUE(tesk_ifindex_hash_delete(ethernet(3)));
  expect(lines(port_removed(ethernet(3)), error("tesk_krnl_del_port", "ioctl failure: 19\n"),
               error("tesk_ifindex_hash_delete", "Synchronization with kernel failed\n")));
  EXPECT_EQ(tesk_ifindex_hash_find_(ethernet(3)), nullptr);
  std::free(port);
}

TEST_F(InterfaceTable, CountsADirtyPortNoMoreOnceItIsOut) {
  tesk_port_t *port = has(ethernet(3));
  tesk_krnl_port_info_dirty(port);
  EXPECT_EQ(dirty_port_count, 1);
  EXPECT_TRUE(tesk_ifindex_hash_delete(ethernet(3)));
  EXPECT_EQ(dirty_port_count, 0);
  expect_apart_from_control({"ioctl(31, del_port, 0x1a000003)"});
  std::free(port);
}

TEST_F(InterfaceTable, DoesNotTakeOutWhatIsNotThere) {
  has(ethernet(3));
  EXPECT_FALSE(tesk_ifindex_hash_delete(ethernet(35)));
  expect({});
}

TEST_F(InterfaceTable, IsEmptiedByItsInitialisation) {
  ifindex_hash_entry_t stray{};
  for (ifindex_hash_entry_t *&head : ifidx_bucket) head = &stray;
  tesk_ifindex_hash_init();
  for (const ifindex_hash_entry_t *head : ifidx_bucket) EXPECT_EQ(head, nullptr);
  expect({});
}

}  // namespace
