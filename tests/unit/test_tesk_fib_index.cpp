/* The MAC table with so many addresses that it is indexed: it stays the same table. */
#include "tesk/tesk_fib_index.h"

#include <algorithm>
#include <array>
#include <deque>
#include <random>

#include "tests/unit/daemon_test.h"
#include "tests/unit/frames.h"

namespace {

Mac address(uint32_t number) {
  return {0x02, static_cast<uint8_t>(number >> 24), static_cast<uint8_t>(number >> 16),
          0x55, static_cast<uint8_t>(number >> 8),  static_cast<uint8_t>(number)};
}

/** What the table has to be: its chains, from their heads. */
class ReferenceTable {
 public:
  struct Entry {
    Mac mac;
    const tesk_port_t *port;
  };
  using Chain = std::deque<Entry>;

  void learn(const Mac &mac, const tesk_port_t *port) {
    Chain &chain = chain_of(mac);
    const auto known = std::ranges::find(chain, mac, &Entry::mac);
    if (known != chain.end()) {
      known->port = port;
    } else {
      chain.push_front({mac, port});
    }
  }
  void purge(const tesk_port_t *port) {
    for (Chain &chain : chains_)
      std::erase_if(chain, [port](const Entry &entry) { return entry.port == port; });
  }
  const Chain &chain(size_t bucket) const { return chains_[bucket]; }

 private:
  Chain &chain_of(const Mac &mac) { return chains_[mac[5] % 32]; }
  std::array<Chain, 32> chains_;
};

/** Every entry is in its place in its chain, and is found by the link that leads to it. */
::testing::AssertionResult equal(const ReferenceTable &reference) {
  for (uint8_t bucket = 0; bucket < 32; ++bucket) {
    tesk_fib_entry_t **link = &fib_bucket[bucket];
    for (const ReferenceTable::Entry &expected : reference.chain(bucket)) {
      if (*link == nullptr) return ::testing::AssertionFailure() << "chain " << int{bucket} << " is short";
      const bool is_it = std::ranges::equal((*link)->mac_address, expected.mac);
      if (!is_it || (*link)->tesk_port != expected.port)
        return ::testing::AssertionFailure() << "another entry in chain " << int{bucket};
      if (tesk_fib_hash_find_(expected.mac.data(), 100) != link)
        return ::testing::AssertionFailure() << "another link in chain " << int{bucket};
      link = &(*link)->next;
    }
    if (*link != nullptr) return ::testing::AssertionFailure() << "chain " << int{bucket} << " is long";
  }
  return ::testing::AssertionSuccess();
}

bool is_indexed() {
  tesk_fib_entry_t **link = nullptr;
  return tesk_fib_index_find(address(0).data(), &link);
}

class ManyAddresses : public DaemonTest {
 protected:
  ManyAddresses() { tesk_init_fib(); }
  ~ManyAddresses() override { expect({}); }

  bool learn(uint32_t number, tesk_port_t *port) {
    const Mac mac = address(number);
    if (!tesk_fib_hash_insert(mac.data(), port, 100)) return false;
    reference.learn(mac, port);
    return true;
  }
  void learn_range(uint32_t from, uint32_t to, tesk_port_t *port) {
    for (uint32_t number = from; number < to; ++number) ASSERT_TRUE(learn(number, port));
  }
  void purge(const tesk_port_t *port) {
    tesk_fib_purge_port_entries(port);
    reference.purge(port);
  }

  ReferenceTable reference;
  std::array<tesk_port_t, 20> ports = {};
};

TEST_F(ManyAddresses, AreIndexedFromTheFirstThatWouldMakeChainsLong) {
  learn_range(0, 255, &ports[0]);
  EXPECT_FALSE(is_indexed());
  learn_range(255, 256, &ports[0]);
  EXPECT_TRUE(is_indexed());
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, StayTheSameTableThroughLearningMovingAndPurging) {
  std::mt19937 engine(1);
  const auto below = [&engine](uint32_t end) { return static_cast<uint32_t>(engine() % end); };
  for (int round = 0; round < 40; ++round) {
    for (int i = 0; i < 400; ++i) ASSERT_TRUE(learn(below(6000), &ports[below(20)]));
    ASSERT_TRUE(equal(reference)) << "after learning in round " << round;
    purge(&ports[below(20)]);
    ASSERT_TRUE(equal(reference)) << "after purging in round " << round;
  }
}

TEST_F(ManyAddresses, AreUnknownWhenTheyWereNotLearnt) {
  learn_range(0, 1000, &ports[0]);
  for (uint32_t number = 1000; number < 3000; ++number)
    ASSERT_EQ(tesk_fib_hash_lookup(address(number).data(), 100), nullptr) << number;
}

TEST_F(ManyAddresses, TakeOneBlockEachAndOneForTheIndex) {
  learn_range(0, 255, &ports[0]);
  EXPECT_EQ(live_blocks(), 255u);
  learn_range(255, 20000, &ports[0]);
  EXPECT_EQ(live_blocks(), 20001u);
}

TEST_F(ManyAddresses, LoseTheIndexWhenFewAreLeft) {
  learn_range(0, 200, &ports[0]);
  learn_range(200, 400, &ports[1]);
  EXPECT_TRUE(is_indexed());
  purge(&ports[1]);
  EXPECT_FALSE(is_indexed());
  EXPECT_EQ(live_blocks(), 200u);
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, AreWalkedWhileMemoryForTheIndexIsShort) {
  learn_range(0, 255, &ports[0]);
  fail_allocation(2);  // the first is the entry
  learn_range(255, 256, &ports[0]);
  EXPECT_FALSE(is_indexed());
  EXPECT_TRUE(equal(reference));
  learn_range(256, 257, &ports[0]);
  EXPECT_TRUE(is_indexed()) << "the next new address asks again";
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, StayWhenOneMoreFindsNoMemory) {
  learn_range(0, 300, &ports[0]);
  fail_allocation(1);
  EXPECT_FALSE(learn(300, &ports[0]));
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, AreForgottenAtStartUpWithTheIndex) {
  learn_range(0, 300, &ports[0]);
  purge(&ports[0]);
  EXPECT_EQ(live_blocks(), 0u);
  EXPECT_TRUE(tesk_init_fib());
  learn_range(0, 255, &ports[0]);
  EXPECT_FALSE(is_indexed()) << "the count begins anew";
}

}  // namespace
