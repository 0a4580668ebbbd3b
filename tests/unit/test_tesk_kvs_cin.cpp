/* CIN VLAN records in the running store: listing, looking up, adding, deleting. */
#include <numeric>

#include "tesk/tesk_kvs.h"
#include "tests/unit/tables.h"

namespace {

const char *const lister = "tesk_kvs_cin_vlan_config_get";
const char *const adder = "tesk_kvs_add_cin_vlan_config";
const char *const deleter = "tesk_kvs_del_cin_vlan_config";

/** The running store is open, with handle 1. */
class CinRecords : public DaemonTest {
 protected:
  CinRecords() { tesk_kvs_cfg = open_store(running_store); }

  static const auto &records() { return store(running_store).records; }
};

/** The result of the listing. Frees the list. */
struct Listing {
  explicit Listing(kvs_service_t kvs = 1) {
    uint16_t count = 99;
    vlan_id_t *list = nullptr;
    result = tesk_kvs_cin_vlan_config_get(kvs, &count, &list);
    number = count;
    has_list = list != nullptr;
    if (has_list) vlans.assign(list, list + count);
    std::free(list);
  }
  rcode_t result;
  uint32_t number;
  bool has_list;
  std::vector<int32_t> vlans = {};
};

Lines walked(uint32_t records) {
  Lines walk = {"kvs_move2location(1, 1)"};
  for (uint32_t i = 1; i < records; ++i) walk.push_back("kvs_move2location(1, 3)");
  return walk;
}

std::vector<int32_t> from_101(size_t count) {
  std::vector<int32_t> vlans(count);
  std::iota(vlans.begin(), vlans.end(), 101);
  return vlans;
}

TEST_F(CinRecords, AreListedInTheStoresOrder) {
  store_cin_vlans(running_store, {300, 3, 4094});
  const Listing listing;
  EXPECT_EQ(listing.result, 0u);
  EXPECT_EQ(listing.vlans, (std::vector<int32_t>{300, 3, 4094}));
  expect(lines(walked(4), control_of(lister, ": 3 CIN VLAN configuration found in KVS\n")));
}

TEST_F(CinRecords, AreListedUpToThirtyOneWithoutAComplaint) {
  store_cin_vlans(running_store, from_101(31));
  EXPECT_EQ(Listing().vlans, from_101(31));
  expect(lines(walked(32), control_of(lister, ": 31 CIN VLAN configuration found in KVS\n")));
}

TEST_F(CinRecords, AreListedUpToThirtyTwo) {
  for (const size_t stored : {32u, 40u}) {
    store(running_store).records.clear();
    store_cin_vlans(running_store, from_101(stored));
    const Listing listing;
    EXPECT_EQ(listing.result, 0u);
    EXPECT_EQ(listing.vlans, from_101(32));
    expect(lines(walked(32), error_of(lister, ":KVS CIN VLAN list size 32 exhausted\n")));
  }
}

TEST_F(CinRecords, AreNotListedWhenThereAreNone) {
  const Listing listing;
  EXPECT_EQ(listing.result, 0u);
  EXPECT_EQ(listing.number, 0u);
  EXPECT_FALSE(listing.has_list);
  expect(lines(walked(1), error_of(lister, ": No CIN VLAN configuration found in KVS\n")));
}

TEST_F(CinRecords, AreNotListedFromAStoreThatCannotBeWalked) {
  const Listing listing(0);
  EXPECT_EQ(listing.result, 0u);
  EXPECT_EQ(listing.number, 0u);
  EXPECT_FALSE(listing.has_list);
  expect({"kvs_move2location(0, 1)", error_of(lister, ": No CIN VLAN configuration found in KVS\n")});
}

TEST_F(CinRecords, OfAnUnknownTypeAreTracedAndSkipped) {
  Bytes unknown = cin_key(10);
  unknown[0] = 1;
  store(running_store).records = {{unknown, {}}, {cin_key(20), {}}};
  unknown[0] = 255;
  store(running_store).records.emplace_back(unknown, Bytes());
  const Listing listing;
  EXPECT_EQ(listing.vlans, std::vector<int32_t>{20});
  expect({"kvs_move2location(1, 1)", error_of(lister, ": Unknown key type (1) in KVS\n"),
          "kvs_move2location(1, 3)", "kvs_move2location(1, 3)",
          error_of(lister, ": Unknown key type (255) in KVS\n"), "kvs_move2location(1, 3)",
          control_of(lister, ": 1 CIN VLAN configuration found in KVS\n")});
}

TEST_F(CinRecords, OfUnknownTypesAloneAreNoList) {
  Bytes unknown = cin_key(10);
  unknown[0] = 7;
  store(running_store).records = {{unknown, {}}};
  const Listing listing;
  EXPECT_EQ(listing.number, 0u);
  EXPECT_FALSE(listing.has_list);
  expect({"kvs_move2location(1, 1)", error_of(lister, ": Unknown key type (7) in KVS\n"),
          "kvs_move2location(1, 3)", error_of(lister, ": No CIN VLAN configuration found in KVS\n")});
}

TEST_F(CinRecords, WithAKeyCutAnywhereAreTracedAndSkipped) {
  const Bytes whole = cin_key(10);
  for (uint32_t length = 0; length < whole.size(); ++length) {
    store(running_store).records = {{cut(whole, length), {}}};
    EXPECT_FALSE(Listing().has_list);
    expect({"kvs_move2location(1, 1)",
            error_of(lister, format(": Key of %u bytes in KVS is too short\n", length)),
            "kvs_move2location(1, 3)", error_of(lister, ": No CIN VLAN configuration found in KVS\n")});
  }
}

TEST_F(CinRecords, WithALongerKeyAreTakenByTheirFirstEightBytes) {
  Bytes key = cin_key(10);
  key.resize(64, 0xff);
  store(running_store).records = {{key, {}}};
  EXPECT_EQ(Listing().vlans, std::vector<int32_t>{10});
  ignore_rest();
}

TEST_F(CinRecords, AreNotListedWithoutMemoryAndTheOutputsStay) {
  store_cin_vlans(running_store, {10});
  fail_allocation(1);
  uint16_t count = 99;
  vlan_id_t other = 0;
  vlan_id_t *list = &other;
  EXPECT_EQ(tesk_kvs_cin_vlan_config_get(1, &count, &list), 1u);
  EXPECT_EQ(count, 99);
  EXPECT_EQ(list, &other);
  expect({error_of(lister, ":Failed to allocate memory for KVS CIN VLAN list\n")});
}

TEST_F(CinRecords, OfTheRunningStoreAreListedFromIt) {
  tesk_kvs_cfg = open_store("other");
  store_cin_vlans("other", {55});
  uint16_t count = 0;
  vlan_id_t *list = nullptr;
  EXPECT_EQ(tesk_kvs_cin_running_vlan_config_get(&count, &list), 0u);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(list[0], 55);
  std::free(list);
  ignore_rest();
}

TEST_F(CinRecords, AreKeptUnderTheSameBytesOnEveryHost) {
  EXPECT_EQ(tesk_kvs_add_cin_vlan_config(0x0abc), 0u);
  ASSERT_EQ(records().size(), 1u);
  EXPECT_EQ(records()[0].first, (Bytes{0, 0, 0, 0, 0, 0, 0x0a, 0xbc}));
  EXPECT_EQ(records()[0].second, Bytes{});
  ignore_rest();
}

TEST_F(CinRecords, TellWhetherAVlanIsStored) {
  store_cin_vlans(running_store, {10});
  EXPECT_EQ(tesk_kvs_get_cin_vlan_config(10), 0u);
  EXPECT_EQ(tesk_kvs_get_cin_vlan_config(11), RCODE_NOT_FOUND);
  expect(lines(looked_up(10, "exists"), looked_up(11, "does not exist")));
}

TEST_F(CinRecords, HoldSignedNumbers) {
  EXPECT_EQ(tesk_kvs_add_cin_vlan_config(-2), 0u);
  EXPECT_EQ(records()[0].first, cin_key(-2));
  expect({"kvs_fetch(1, 00000000fffffffe)",
          control("tesk_kvs_get_cin_vlan_config",
                  "tesk_kvs_get_cin_vlan_config: VLAN (-2) configuration does not exist in KVS\n"),
          "kvs_store(1, 1, 00000000fffffffe, '')",
          control_of(adder, ": VLAN (-2) configuration saved in KVS\n")});
  EXPECT_EQ(Listing().vlans, std::vector<int32_t>{-2});
  forget();
  EXPECT_EQ(tesk_kvs_add_cin_vlan_config(-2), 0u);
  EXPECT_EQ(count_of(error_of(adder, ": VLAN (-2) configuration already exists in KVS\n")), 1u);
  EXPECT_EQ(tesk_kvs_del_cin_vlan_config(-2), 0u);
  EXPECT_EQ(count_of(control_of(deleter, ": VLAN (-2) configuration deleted from KVS\n")), 1u);
  ignore_rest();
}

TEST_F(CinRecords, AreThereWhenTheStoreSaysSoThoughItShowsNoValue) {
  store_cin_vlans(running_store, {10});
  when("kvs_fetch").returns(0);
  EXPECT_EQ(tesk_kvs_get_cin_vlan_config(10), 0u);
  expect(looked_up(10, "exists"));
}

TEST_F(CinRecords, AreAddedOnceAndASecondTimeIsASuccess) {
  EXPECT_EQ(tesk_kvs_add_cin_vlan_config(10), 0u);
  expect(lines(looked_up(10, "does not exist"), "kvs_store(1, 1, 000000000000000a, '')",
               control_of(adder, ": VLAN (10) configuration saved in KVS\n")));
  EXPECT_EQ(tesk_kvs_add_cin_vlan_config(10), 0u);
  expect(
      lines(looked_up(10, "exists"), error_of(adder, ": VLAN (10) configuration already exists in KVS\n")));
  EXPECT_EQ(records().size(), 1u);
}

TEST_F(CinRecords, ThatCannotBeWrittenFailWithTheStoresCode) {
  when("kvs_store").returns(RCODE_TOO_LARGE);
  EXPECT_EQ(tesk_kvs_add_cin_vlan_config(10), RCODE_TOO_LARGE);
  expect(lines(looked_up(10, "does not exist"), "kvs_store(1, 1, 000000000000000a, '')",
               error_of(adder, ": Failed to write CIN VLAN (10) to KVS\n")));
}

TEST_F(CinRecords, AreDeletedOnceAndASecondTimeFails) {
  store_cin_vlans(running_store, {10, 20});
  EXPECT_EQ(tesk_kvs_del_cin_vlan_config(10), 0u);
  expect(lines(looked_up(10, "exists"), "kvs_delete(1, 000000000000000a)",
               control_of(deleter, ": VLAN (10) configuration deleted from KVS\n")));
  EXPECT_EQ(tesk_kvs_del_cin_vlan_config(10), RCODE_NOT_FOUND);
  expect(lines(looked_up(10, "does not exist"),
               error_of(deleter, ": VLAN (10) configuration does not exist in KVS\n")));
  ASSERT_EQ(records().size(), 1u);
  EXPECT_EQ(records()[0].first, cin_key(20));
}

TEST_F(CinRecords, ThatCannotBeDeletedFailWithTheStoresCode) {
  store_cin_vlans(running_store, {10});
  when("kvs_delete").returns(RCODE_IO);
  EXPECT_EQ(tesk_kvs_del_cin_vlan_config(10), RCODE_IO);
  expect(lines(looked_up(10, "exists"), "kvs_delete(1, 000000000000000a)",
               error_of(deleter, ": Failed to delete CIN VLAN (10) configuration from KVS\n")));
}

TEST_F(CinRecords, OfAStoreThatIsNotOpenFailWithItsCode) {
  tesk_kvs_cfg = 0;
  EXPECT_EQ(tesk_kvs_get_cin_vlan_config(10), RCODE_INVALID);
  EXPECT_EQ(tesk_kvs_add_cin_vlan_config(10), RCODE_INVALID);
  EXPECT_EQ(tesk_kvs_del_cin_vlan_config(10), RCODE_INVALID);
  ignore_rest();
}

}  // namespace
