/* The stores at start, and how the debug store is created. */
#include "tesk/tesk_kvs.h"
#include "tests/unit/tables.h"

namespace {

class DebugStore : public DaemonTest {
 protected:
  static constexpr const char *init = "tesk_kvs_dbg_init";

  const Lines looked_for = {control(init, "tesk_kvs_init uri[running:]\n"), "kvs_open('running:debug_data')"};
  const Lines created = lines(looked_for, "kvs_create('running:debug_data')");
  const Lines keys_limited = lines(created, "kvs_max_key(1, 512)");
  const Lines values_limited = lines(keys_limited, "kvs_max_value(1, 4096)");
  const Lines version_set = lines(values_limited, "kvs_version_set(1, 1, 0x100001)");
};

TEST_F(DebugStore, IsOpenedWhenItExists) {
  store(debug_store);
  EXPECT_EQ(tesk_kvs_dbg_init(), 0u);
  expect(lines(looked_for, error(init, "tesk_kvs_init Debug KVS success!\n")));
  EXPECT_EQ(tesk_debug_kvs, 1u);
  EXPECT_STREQ(tesk_kvs_debug_url, "running:debug_data");
}

TEST_F(DebugStore, IsMadeWhenItDoesNotExist) {
  EXPECT_EQ(tesk_kvs_dbg_init(), 0u);
  expect(lines(version_set, "kvs_open('running:debug_data')",
               error(init, "tesk_kvs_init Debug KVS success!\n")));
  EXPECT_EQ(tesk_debug_kvs, 2u);
  EXPECT_EQ(store(debug_store).versions[1], 0x100001u);
}

TEST_F(DebugStore, HasNoUriWhenTheSupervisorDoesNotTell) {
  when("overseer_running_cfg_uri_get").returns(0);
  store("");
  EXPECT_EQ(tesk_kvs_dbg_init(), 0u);
  expect({control(init, "tesk_kvs_init uri[(null)]\n"), "kvs_open('')",
          error(init, "tesk_kvs_init Debug KVS success!\n")});
}

TEST_F(DebugStore, TakesValuesOfTwiceTheFacilitysLargestKeptTo16Bits) {
  const struct {
    int64_t largest;
    const char *limit;
  } expected[] = {{33, "kvs_max_value(1, 66)"},
                  {32767, "kvs_max_value(1, 65534)"},
                  {32768, "kvs_max_value(1, 0)"},
                  {40000, "kvs_max_value(1, 14464)"},
                  {0xffffffff, "kvs_max_value(1, 65534)"}};
  for (const auto &row : expected) {
    reset_stores();
    when("tracekit_get_max_kvsvalue").returns(row.largest);
    EXPECT_EQ(tesk_kvs_dbg_init(), 0u);
    EXPECT_EQ(count_of(row.limit), 1u) << row.largest;
    forget();
  }
}

TEST_F(DebugStore, IsGivenUpWhenItCannotBeCreated) {
  when("kvs_create").returns(0).gives(RCODE_IO);
  EXPECT_EQ(tesk_kvs_dbg_init(), RCODE_IO);
  expect(lines(created, error(init, "TESK KVS Create Error\n")));
  EXPECT_EQ(tesk_debug_kvs, 0u);
}

TEST_F(DebugStore, IsGivenUpWhenItsCreationHasNoHandleThoughItReportsSuccess) {
  when("kvs_create").returns(0).gives(RCODE_SUCCESS);
  EXPECT_EQ(tesk_kvs_dbg_init(), RCODE_SUCCESS);
  expect(lines(created, error(init, "TESK KVS Create Error\n")));
  EXPECT_EQ(tesk_debug_kvs, 0u);
}

TEST_F(DebugStore, IsJudgedByItsHandleAndNotByTheCode) {
  when("kvs_open").returns(55).gives(RCODE_CORRUPT);
  EXPECT_EQ(tesk_kvs_dbg_init(), 0u);
  expect(lines(looked_for, error(init, "tesk_kvs_init Debug KVS success!\n")));
  EXPECT_EQ(tesk_debug_kvs, 55u);
}

TEST_F(DebugStore, IsJudgedByItsHandlesWhenItIsMade) {
  const uint32_t handle = open_store(debug_store);
  when("kvs_create").returns(handle).gives(RCODE_IO);
  when("kvs_open").call(2).returns(55).gives(RCODE_CORRUPT);
  EXPECT_EQ(tesk_kvs_dbg_init(), 0u);
  expect(lines(version_set, "kvs_open('running:debug_data')",
               error(init, "tesk_kvs_init Debug KVS success!\n")));
  EXPECT_EQ(tesk_debug_kvs, 55u);
}

TEST_F(DebugStore, IsGivenUpWhenItsKeysCannotBeLimited) {
  when("kvs_max_key").returns(RCODE_INVALID);
  EXPECT_EQ(tesk_kvs_dbg_init(), RCODE_INVALID);
  expect(lines(keys_limited, error(init, "TESK kvs_max_key Error\n")));
}

TEST_F(DebugStore, IsGivenUpAloneForAnyOtherReason) {
  const std::pair<const char *, unsigned> failing[] = {
      {"kvs_create", 1}, {"kvs_max_key", 1}, {"kvs_version_set", 1}, {"kvs_open", 2}};
  for (const auto &[operation, number] : failing) {
    reset_stores();
    tesk_kvs_startup_cfg = 77;
    script_failure(operation).call(number);
    EXPECT_NE(tesk_kvs_dbg_init(), 0u) << operation;
    EXPECT_EQ(tesk_debug_kvs, 0u) << operation;
    EXPECT_EQ(tesk_kvs_startup_cfg, 77u) << operation;
  }
  ignore_rest();
}

TEST_F(DebugStore, IsGivenUpWithTheStartupHandleWhenItsValuesCannotBeLimited) {
  tesk_kvs_startup_cfg = 77;
  when("kvs_max_value").returns(RCODE_INVALID);
  EXPECT_EQ(tesk_kvs_dbg_init(), RCODE_INVALID);
  expect(lines(values_limited, error(init, "TESK kvs_max_value Error\n")));
  EXPECT_EQ(tesk_kvs_startup_cfg, 0u);
}

TEST_F(DebugStore, IsGivenUpWhenItsVersionCannotBeSet) {
  when("kvs_version_set").returns(RCODE_IO);
  EXPECT_EQ(tesk_kvs_dbg_init(), 0xffffffffu);
  expect(lines(version_set, error(init, "TESK set_kvs_ver Error\n")));
}

TEST_F(DebugStore, IsGivenUpWhenItDoesNotOpenAfterCreation) {
  when("kvs_open").call(2).returns(0).gives(RCODE_CORRUPT);
  EXPECT_EQ(tesk_kvs_dbg_init(), RCODE_CORRUPT);
  expect(lines(version_set, "kvs_open('running:debug_data')",
               error(init, "TESK kvs_open after Create Error\n")));
  EXPECT_EQ(tesk_debug_kvs, 0u);
}

TEST_F(DebugStore, HasItsVersionSetOrReportsMinusOne) {
  open_store(running_store);
  when("kvs_version_set").call(2).returns(RCODE_IO);
  EXPECT_EQ(tesk_cfg_kvs_version(open_store(debug_store)), 0);
  EXPECT_EQ(tesk_cfg_kvs_version(2), -1);
  expect({"kvs_version_set(2, 1, 0x100001)", "kvs_version_set(2, 1, 0x100001)"});
}

class StoresAtStart : public DaemonTest {
 protected:
  /** Makes a startup store of this version and opens it. */
  static uint32_t startup_of_version(uint32_t version, const std::vector<int32_t> &vlans = {}) {
    store(startup_store).versions[1] = version;
    store_cin_vlans(startup_store, vlans);
    return open_store(startup_store);
  }
};

TEST_F(StoresAtStart, OfTheStartNeverStopIt) {
  when("kvs_open").returns(0).gives(RCODE_IO);
  when("kvs_create").returns(0).gives(RCODE_IO);
  EXPECT_EQ(tesk_init_kvs(), 0);
  expect_apart_from_control(
      {"kvs_open('running:debug_data')", "kvs_create('running:debug_data')",
       error("tesk_kvs_dbg_init", "TESK KVS Create Error\n"), "kvs_create('running:tesk_cfg')",
       error("tesk_kvs_create_and_open_config_kvs",
             "tesk_kvs_create_and_open_config_kvs:Failed to create KVS for running KVS\n"),
       error("tesk_kvs_create_and_open_config_kvs",
             "tesk_kvs_create_and_open_config_kvs: Cfg KVS Failed\n")});
}

TEST_F(StoresAtStart, StartEmptyWhenTheDebugStoresValuesCannotBeLimited) {
  startup_of_version(1, {10});
  EXPECT_TRUE(tesk_open_startup_config_kvs());
  when("kvs_max_value").once().returns(RCODE_INVALID);
  EXPECT_EQ(tesk_init_kvs(), 0);
  EXPECT_EQ(store(running_store).records.size(), 0u);
  tesk_close_startup_config_kvs();
  EXPECT_EQ(count_of_operation("kvs_snapshot"), 0u);
  EXPECT_EQ(count_of_operation("kvs_close"), 0u);
  ignore_rest();
}

TEST_F(StoresAtStart, StartEmptyWhenTheStartupStoreHasNoUri) {
  startup_of_version(1, {10});
  when("overseer_startup_cfg_uri_get").returns(0);
  EXPECT_TRUE(tesk_open_startup_config_kvs());
  EXPECT_EQ(tesk_init_kvs(), 0);
  EXPECT_EQ(store(running_store).records.size(), 0u);
  EXPECT_EQ(count_of_operation("kvs_create"), 2u);
  EXPECT_EQ(count_of_operation("kvs_snapshot"), 0u);
  ignore_rest();
}

}  // namespace
