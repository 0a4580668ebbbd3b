/* The MAC learning table. */
#include "tesk/tesk_fib.h"

#include "tests/unit/daemon_test.h"
#include "tests/unit/frames.h"

namespace {

size_t entries_in(uint8_t bucket) {
  size_t count = 0;
  for (const tesk_fib_entry_t *entry = fib_bucket[bucket]; entry != nullptr; entry = entry->next) ++count;
  return count;
}

size_t entries() {
  size_t count = 0;
  for (uint8_t bucket = 0; bucket < 32; ++bucket) count += entries_in(bucket);
  return count;
}

class MacTable : public DaemonTest {
 protected:
  MacTable() { tesk_init_fib(); }
  ~MacTable() override { expect({}); }  // the table makes no calls and traces nothing

  static tesk_port_t *learnt_on(const Mac &mac, uint16_t vlan = 100) {
    return tesk_fib_hash_lookup(mac.data(), vlan);
  }
  static boolean learn(const Mac &mac, tesk_port_t &port, uint16_t vlan = 100) {
    return tesk_fib_hash_insert(mac.data(), &port, vlan);
  }

  static constexpr Mac station = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
  tesk_port_t port_a = {};
  tesk_port_t port_b = {};
};

TEST_F(MacTable, IsEmptyAfterStartUp) {
  tesk_fib_entry_t stray = {};
  for (tesk_fib_entry_t *&head : fib_bucket) head = &stray;
  EXPECT_TRUE(tesk_init_fib());
  EXPECT_EQ(entries(), 0u);
  EXPECT_EQ(learnt_on(station), nullptr);
}

TEST_F(MacTable, ChoosesTheBucketByTheLowFiveBitsOfTheLastByte) {
  EXPECT_EQ(tesk_fib_hash_fn(Mac{0, 0, 0, 0, 0, 0x00}.data()), 0);
  EXPECT_EQ(tesk_fib_hash_fn(Mac{0, 0, 0, 0, 0, 0x1f}.data()), 31);
  EXPECT_EQ(tesk_fib_hash_fn(Mac{0, 0, 0, 0, 0, 0x20}.data()), 0);
  EXPECT_EQ(tesk_fib_hash_fn(Mac{0xff, 0xff, 0xff, 0xff, 0xff, 0xe3}.data()), 3);
}

TEST_F(MacTable, FindsBothOfTwoAddressesThatShareABucket) {
  const Mac first = {0x02, 1, 2, 3, 4, 0x25};
  const Mac second = {0x06, 9, 8, 7, 6, 0x45};
  EXPECT_TRUE(learn(first, port_a));
  EXPECT_TRUE(learn(second, port_b));
  EXPECT_EQ(entries_in(5), 2u);
  EXPECT_EQ(learnt_on(first), &port_a);
  EXPECT_EQ(learnt_on(second), &port_b);
}

TEST_F(MacTable, PutsANewAddressAtTheHeadOfItsBucket) {
  learn({0x02, 0, 0, 0, 0, 0x05}, port_a);
  learn({0x02, 0, 0, 0, 1, 0x05}, port_b);
  EXPECT_EQ(fib_bucket[5]->tesk_port, &port_b);
}

TEST_F(MacTable, ComparesAllSixBytes) {
  learn(station, port_a);
  for (size_t i = 0; i < station.size(); ++i) {
    Mac other = station;
    other[i] ^= 0x80;
    EXPECT_EQ(learnt_on(other), nullptr) << "byte " << i;
  }
}

TEST_F(MacTable, MovesAStationThatShowsUpOnAnotherPort) {
  learn(station, port_a);
  EXPECT_TRUE(learn(station, port_b));
  EXPECT_EQ(learnt_on(station), &port_b);
  EXPECT_EQ(entries(), 1u);
}

TEST_F(MacTable, KeepsOneEntryWhateverTheVlan) {
  learn(station, port_a, 100);
  learn(station, port_a, 200);
  EXPECT_EQ(entries(), 1u);
  EXPECT_EQ(learnt_on(station, 4095), &port_a);
  EXPECT_EQ(learnt_on(station, 0), &port_a);
}

TEST_F(MacTable, HandsOutTheLinkThatPointsAtTheEntry) {
  learn({0x02, 0, 0, 0, 0, 0x15}, port_a);
  learn(station, port_b);
  tesk_fib_entry_t **head = tesk_fib_hash_find_(station.data(), 100);
  EXPECT_EQ(head, &fib_bucket[0x15]);
  EXPECT_EQ(tesk_fib_hash_find_(Mac{0x02, 0, 0, 0, 0, 0x15}.data(), 100), &(*head)->next);
  EXPECT_EQ(tesk_fib_hash_find_(other_mac.data(), 100), nullptr);
}

TEST_F(MacTable, RefusesAnAddressWhenMemoryIsShort) {
  fail_allocation(1);
  EXPECT_FALSE(learn(station, port_a));
  EXPECT_EQ(learnt_on(station), nullptr);
  EXPECT_EQ(entries(), 0u);
}

TEST_F(MacTable, MovesAStationWithoutAllocating) {
  learn(station, port_a);
  const size_t before = live_blocks();
  learn(station, port_b);
  EXPECT_EQ(live_blocks(), before);
}

TEST_F(MacTable, ForgetsAllOfOnePortAndNothingOfAnother) {
  // Bucket 5 from its head: A A B A B; bucket 31: A.
  for (tesk_port_t *port : {&port_b, &port_a, &port_b, &port_a, &port_a}) {
    static uint8_t number = 0;
    learn({0x02, 0, 0, 0, ++number, 0x05}, *port);
  }
  learn({0x02, 0, 0, 0, 0, 0x1f}, port_a);
  EXPECT_EQ(live_blocks(), 6u);

  EXPECT_TRUE(tesk_fib_purge_port_entries(&port_a));

  EXPECT_EQ(entries_in(5), 2u);
  EXPECT_EQ(entries_in(31), 0u);
  EXPECT_EQ(live_blocks(), 2u);
  EXPECT_EQ(learnt_on({0x02, 0, 0, 0, 1, 0x05}), &port_b);
  EXPECT_EQ(learnt_on({0x02, 0, 0, 0, 3, 0x05}), &port_b);
}

TEST_F(MacTable, ChangesNothingForAPortWithoutAddresses) {
  learn(station, port_a);
  EXPECT_TRUE(tesk_fib_purge_port_entries(&port_b));
  EXPECT_EQ(learnt_on(station), &port_a);
}

}  // namespace
