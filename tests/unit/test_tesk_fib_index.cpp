/* The MAC table with so many addresses that it has an index: its contents stay the same, and finding an
 * address takes few compares whatever pattern the addresses have. */
#include "tesk/tesk_fib_index.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <deque>
#include <random>
#include <utility>

#include "tests/standin/address_patterns.h"
#include "tests/unit/daemon_test.h"
#include "tests/unit/frames.h"

namespace {

Mac address(uint32_t number) {
  return {0x02, static_cast<uint8_t>(number >> 24), static_cast<uint8_t>(number >> 16),
          0x55, static_cast<uint8_t>(number >> 8),  static_cast<uint8_t>(number)};
}

/** What the table must contain: its chains, each from its head. */
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

/** Whether each entry is in its place in its chain, and a look-up returns the link to it. */
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

bool is_indexed() { return fib_index.room != 0; }

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

TEST_F(ManyAddresses, AreIndexedFromTheNinthOn) {
  learn_range(0, 8, &ports[0]);
  EXPECT_FALSE(is_indexed());
  EXPECT_TRUE(equal(reference));
  learn_range(8, 9, &ports[0]);
  EXPECT_TRUE(is_indexed());
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, HaveTwoSlotsEachAtLeast) {
  learn_range(0, 256, &ports[0]);
  EXPECT_EQ(fib_index.room, 256u);
  EXPECT_EQ(fib_index.slot_shift, 32u - 9u);
  learn_range(256, 257, &ports[0]);
  EXPECT_EQ(fib_index.room, 512u);
  EXPECT_EQ(fib_index.slot_shift, 32u - 10u);
  learn_range(257, 1025, &ports[0]);
  EXPECT_EQ(fib_index.room, 2048u);
  EXPECT_EQ(fib_index.slot_shift, 32u - 12u);
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

TEST_F(ManyAddresses, TakeOneBlockEachAndBeyond256OneForTheIndex) {
  learn_range(0, 256, &ports[0]);
  EXPECT_EQ(live_blocks(), 256u);
  learn_range(256, 257, &ports[0]);
  EXPECT_EQ(live_blocks(), 258u);
  learn_range(257, 20000, &ports[0]);
  EXPECT_EQ(live_blocks(), 20001u);
}

TEST_F(ManyAddresses, LoseTheIndexWhenFewAreLeft) {
  learn_range(0, 8, &ports[0]);
  learn_range(8, 9, &ports[1]);
  learn_range(9, 400, &ports[2]);
  purge(&ports[2]);
  EXPECT_TRUE(is_indexed());
  EXPECT_EQ(live_blocks(), 9u) << "the memory for many is given back";
  EXPECT_TRUE(equal(reference));
  purge(&ports[1]);
  EXPECT_FALSE(is_indexed());
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, GiveMemoryBackWhen256AreLeft) {
  learn_range(0, 256, &ports[0]);
  learn_range(256, 300, &ports[1]);
  purge(&ports[1]);
  EXPECT_TRUE(is_indexed());
  EXPECT_EQ(live_blocks(), 256u);
}

TEST_F(ManyAddresses, CanBeAllZeros) {
  constexpr Mac zeros = {};
  learn_range(0, 100, &ports[0]);
  EXPECT_EQ(tesk_fib_hash_find_(zeros.data(), 100), nullptr);
  EXPECT_TRUE(tesk_fib_hash_insert(zeros.data(), &ports[1], 100));
  EXPECT_EQ(tesk_fib_hash_lookup(zeros.data(), 100), &ports[1]);
}

TEST_F(ManyAddresses, AreIndexedAnewAfterTheIndexWasLost) {
  learn_range(0, 300, &ports[0]);
  purge(&ports[0]);
  learn_range(300, 600, &ports[0]);
  EXPECT_TRUE(is_indexed());
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, AreWalkedWhileMemoryForMoreIsShort) {
  learn_range(0, 256, &ports[0]);
  fail_allocation(2);  // the first allocation is the entry
  learn_range(256, 257, &ports[0]);
  EXPECT_FALSE(is_indexed());
  EXPECT_EQ(live_blocks(), 257u);
  EXPECT_TRUE(equal(reference));
  learn_range(257, 258, &ports[0]);
  EXPECT_TRUE(is_indexed()) << "the next new address asks again";
  EXPECT_TRUE(equal(reference));
}

TEST_F(ManyAddresses, AskForMemoryForTheIndexOnlyWhenItIsFull) {
  learn_range(0, 511, &ports[0]);
  fail_allocation(2);  // the first is the entry
  learn_range(511, 512, &ports[0]);
  EXPECT_TRUE(is_allocation_to_fail()) << "there was no second";
  fail_allocation(0);
}

TEST_F(ManyAddresses, AreWalkedWhenThePurgeFindsNoMemoryForTheIndex) {
  learn_range(0, 300, &ports[0]);
  learn_range(300, 310, &ports[1]);
  fail_allocation(1);
  purge(&ports[1]);
  EXPECT_FALSE(is_indexed());
  EXPECT_EQ(live_blocks(), 300u);
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
  for (tesk_fib_entry_t *entry : fib_bucket)
    for (; entry != nullptr; std::free(std::exchange(entry, entry->next))) {
    }
  EXPECT_TRUE(tesk_init_fib());
  EXPECT_EQ(live_blocks(), 0u);
  EXPECT_FALSE(is_indexed());
  reference = {};
  learn_range(0, 8, &ports[0]);
  EXPECT_FALSE(is_indexed()) << "the count begins anew";
}

/* ---- patterns ---- */

/** How many entries are compared with an address until it is found, or found to be unknown. */
uint32_t compares(const Mac &mac) {
  uint32_t count = 0;
  const auto is_it = [&](const tesk_fib_entry_t *entry) {
    ++count;
    return std::ranges::equal(entry->mac_address, mac);
  };
  if (fib_index.room == 0) {
    const tesk_fib_entry_t *entry = fib_bucket[tesk_fib_hash_fn(mac.data())];
    while (entry != nullptr && !is_it(entry)) entry = entry->next;
    return count;
  }
  uint32_t number = fib_index.slots[tesk_fib_index_hash(mac.data()) >> fib_index.slot_shift];
  while (number != 0 && !is_it(*fib_index.links[number])) number = fib_index.next[number];
  return count;
}

struct Compares {
  uint64_t sum = 0;
  uint32_t most = 0;

  void add(uint32_t count) {
    sum += count;
    most = std::max(most, count);
  }
};

Compares compares_of(const AddressPattern &pattern, uint32_t from, uint32_t to) {
  Compares all;
  for (uint32_t number = from; number < to; ++number) all.add(compares(pattern.address(number)));
  return all;
}

class Pattern : public DaemonTest, public testing::WithParamInterface<AddressPattern> {
 protected:
  Pattern() { tesk_init_fib(); }

  void learn(uint32_t from, uint32_t to) {
    for (uint32_t number = from; number < to; ++number)
      ASSERT_TRUE(tesk_fib_hash_insert(GetParam().address(number).data(), &port, 100));
  }

  tesk_port_t port = {};
};

TEST_P(Pattern, TakesFewCompares) {
  constexpr uint32_t unknown = 1 << 20;
  uint32_t learnt = 0;
  for (const uint32_t count : address_counts) {
    SCOPED_TRACE(std::to_string(count) + " addresses");
    learn(std::exchange(learnt, count), count);
    for (const uint32_t first : {0u, unknown}) {
      const Compares all = compares_of(GetParam(), first, first + count);
      EXPECT_LE(all.sum, 2 * uint64_t{count}) << (first == 0 ? "known" : "unknown");
      EXPECT_LE(all.most, 8u) << (first == 0 ? "known" : "unknown");
    }
  }
}

TEST_P(Pattern, HasAsManyAddressesAsNumbers) {
  learn(0, 1000);
  size_t entries = 0;
  for (const tesk_fib_entry_t *entry : fib_bucket)
    for (; entry != nullptr; entry = entry->next) ++entries;
  EXPECT_EQ(entries, 1000u);
}

INSTANTIATE_TEST_SUITE_P(Addresses, Pattern, testing::ValuesIn(address_patterns),
                         [](const auto &pattern) { return std::string(pattern.param.name); });

/** The same on processors of either byte order. */
TEST(AddressHash, IsMadeOfTheBytesInTheirOrder) {
  EXPECT_EQ(tesk_fib_index_hash(Mac{0, 0, 0, 0, 0, 0}.data()), 0u);
  EXPECT_EQ(tesk_fib_index_hash(Mac{0x02, 0, 0, 0, 0, 0x01}.data()), 0xb173da7du);
  EXPECT_EQ(tesk_fib_index_hash(Mac{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}.data()), 0x2aecea0fu);
  EXPECT_EQ(tesk_fib_index_hash(Mac{0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54}.data()), 0x4405788bu);
}

}  // namespace
