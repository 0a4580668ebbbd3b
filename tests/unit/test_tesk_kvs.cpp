/* The stores: how the startup and running stores are created at start, and the save request. */
#include "tesk/tesk_kvs.h"

#include "opal/overseer.h"
#include "tests/unit/tables.h"

namespace {

class Stores : public DaemonTest {
 protected:
  /** Makes a startup store of this version and opens it. */
  static uint32_t startup_of_version(uint32_t version, const std::vector<int32_t> &vlans = {}) {
    store(startup_store).versions[1] = version;
    store_cin_vlans(startup_store, vlans);
    return open_store(startup_store);
  }
};

TEST_F(Stores, AreFoundUnderTheBaseThePrefixAndTheNameAsTheyAre) {
  when("overseer_file_prefix_get").returns(1);
  EXPECT_STREQ(tesk_kvs_uri("base:", "name"), "base:100%d-name");
  EXPECT_EQ(tesk_init_kvs(), 0);
  EXPECT_STREQ(tesk_kvs_debug_url, "running:100%d-debug_data");
  EXPECT_STREQ(tesk_kvs_config_url, "running:100%d-tesk_cfg");
  EXPECT_FALSE(tesk_open_startup_config_kvs());
  EXPECT_EQ(count_of("kvs_open('startup:100%d-tesk_startup_cfg')"), 1u);
  qbus_msg_ref_t request = hold({.opcode = 0x77});
  EXPECT_EQ(overseercb_cfg_write(&request, "elsewhere:", "debug:"), 0);
  EXPECT_TRUE(store_exists("elsewhere:100%d-tesk_startup_cfg"));
  ignore_rest();
}

TEST_F(Stores, HaveUrisOfAtMost255Characters) {
  const std::string prefix(300, 'p');
  when("overseer_file_prefix_get").gives(300);
  EXPECT_EQ(tesk_init_kvs(), 0);
  EXPECT_EQ(tesk_kvs_debug_url, ("running:" + prefix).substr(0, 255));
  EXPECT_EQ(tesk_kvs_config_url, ("running:" + prefix).substr(0, 255));
  EXPECT_EQ(count_of("kvs_create('" + ("running:" + prefix).substr(0, 255) + "')"), 2u);
  ignore_rest();
}

/* ---- the startup store ---- */

class StartupStore : public Stores {
 protected:
  static constexpr const char *opener = "tesk_open_startup_config_kvs";
};

TEST_F(StartupStore, IsOpenedAndClosed) {
  store(startup_store);
  EXPECT_TRUE(tesk_open_startup_config_kvs());
  expect({"kvs_open('startup:tesk_startup_cfg')",
          control_of(opener, ": Startup config KVS [startup:tesk_startup_cfg] opened\n")});
  EXPECT_EQ(tesk_kvs_startup_cfg, 1u);
  tesk_close_startup_config_kvs();
  EXPECT_EQ(tesk_kvs_startup_cfg, 0u);
  tesk_close_startup_config_kvs();
  expect({"kvs_close(1)"});
}

TEST_F(StartupStore, IsForgottenThoughItCannotBeClosed) {
  when("kvs_close").returns(RCODE_IO);
  tesk_kvs_startup_cfg = open_store(startup_store);
  tesk_close_startup_config_kvs();
  EXPECT_EQ(tesk_kvs_startup_cfg, 0u);
  expect({"kvs_close(1)"});
}

TEST_F(StartupStore, StaysClosedInSilenceForTheCallerWhenItHasNoUri) {
  when("overseer_startup_cfg_uri_get").returns(0);
  EXPECT_TRUE(tesk_open_startup_config_kvs());
  expect({error_of(opener, ": overseer_startup_cfg_uri_get failed\n")});
  EXPECT_EQ(tesk_kvs_startup_cfg, 0u);
}

TEST_F(StartupStore, IsNotOpenWhenTheStoreServiceSaysSo) {
  when("kvs_open").returns(55).gives(RCODE_CORRUPT);
  EXPECT_FALSE(tesk_open_startup_config_kvs());
  expect({"kvs_open('startup:tesk_startup_cfg')", error_of(opener, ": Failed to open startup config KVS\n")});
  EXPECT_EQ(tesk_kvs_startup_cfg, 0u);
}

TEST_F(StartupStore, IsOpenWhenTheStoreServiceSaysSoWhateverItsHandle) {
  when("kvs_open").returns(0).gives(RCODE_SUCCESS);
  EXPECT_TRUE(tesk_open_startup_config_kvs());
  expect({"kvs_open('startup:tesk_startup_cfg')",
          control_of(opener, ": Startup config KVS [startup:tesk_startup_cfg] opened\n")});
  EXPECT_EQ(tesk_kvs_startup_cfg, 0u);
}

TEST(StoreVersions, AreCompatibleOnlyWhenEqual) {
  EXPECT_TRUE(tesk_kvs_are_versions_compatible(1, 1));
  EXPECT_TRUE(tesk_kvs_are_versions_compatible(0x00100001, 0x00100001));
  for (const uint32_t other : {0u, 2u, 0x00100001u, 0x80000001u, 0xffffffffu}) {
    EXPECT_FALSE(tesk_kvs_are_versions_compatible(1, other)) << other;
    EXPECT_FALSE(tesk_kvs_are_versions_compatible(other, 1)) << other;
  }
}

/* ---- the running store ---- */

class RunningStore : public Stores {
 protected:
  static constexpr const char *maker = "tesk_kvs_create_and_open_config_kvs";
  static constexpr uint32_t untouched = 99;

  /** Makes the running store from a reference store; 0 for none. */
  rcode_t make(uint32_t reference) {
    char uri[] = "running:tesk_cfg";
    return tesk_kvs_create_and_open_config_kvs(uri, &handle, reference);
  }

  static Line failed(const std::string &text) { return error_of(maker, text); }

  /** A new store with the handle `created` is made, up to its opening. */
  static Lines made_fresh(uint32_t created) {
    return {"kvs_create('running:tesk_cfg')", Line(format("kvs_version_set(%u, 1, 0x1)", created)),
            Line(format("kvs_max_value(%u, 256)", created))};
  }

  const Line fresh = control_of(maker, ":Creating fresh running configuration\n");
  const Line not_copied = error_of(maker, ":Failed to snapshot reference to running KVS\n");
  const Line compatible = control_of(maker, ":Startup Configuration Version compatibility check succeeded\n");
  const Line opened = "kvs_open('running:tesk_cfg')";
  const Line given_up = error_of(maker, ": Cfg KVS Failed\n");
  kvs_service_t handle = untouched;
};

TEST_F(RunningStore, IsACopyOfAStartupStoreOfItsVersion) {
  EXPECT_EQ(make(startup_of_version(1, {10, 20})), 0u);
  expect({"kvs_version_get(1, 1)", compatible, "kvs_snapshot(1, 0, 'running:tesk_cfg')",
          control_of(maker, ":Startup Configuration copied to running configuration\n"), opened});
  EXPECT_EQ(handle, 2u);
  EXPECT_EQ(store(running_store).records.size(), 2u);
}

TEST_F(RunningStore, IsACopyOfAStartupStoreWhateverItsHandle) {
  open_store(debug_store);
  EXPECT_EQ(make(startup_of_version(1)), 0u);
  EXPECT_EQ(count_of("kvs_version_get(2, 1)"), 1u);
  EXPECT_EQ(count_of("kvs_snapshot(2, 0, 'running:tesk_cfg')"), 1u);
  ignore_rest();
}

TEST_F(RunningStore, IsFreshWithoutAStartupStore) {
  store_cin_vlans(running_store, {10});
  EXPECT_EQ(make(0), 0u);
  expect(lines(fresh, made_fresh(1), opened));
  EXPECT_EQ(handle, 2u);
  EXPECT_EQ(store(running_store).records.size(), 0u);
  EXPECT_EQ(store(running_store).versions[1], 1u);
  EXPECT_EQ(store(running_store).max_value, 256u);
}

TEST_F(RunningStore, IsFreshBesideAStartupStoreOfAnotherVersion) {
  for (const uint32_t version : {0u, 2u, 0x00100001u}) {
    reset_stores();
    EXPECT_EQ(make(startup_of_version(version, {10})), 0u);
    expect(lines("kvs_version_get(1, 1)",
                 failed(":Startup Configuration Version compatibility check failed\n"), fresh, not_copied,
                 made_fresh(2), opened));
    EXPECT_EQ(handle, 3u);
    EXPECT_EQ(store(running_store).records.size(), 0u);
  }
}

TEST_F(RunningStore, IsFreshBesideAStartupStoreWithoutAVersion) {
  EXPECT_EQ(make(open_store(startup_store)), 0u);
  expect(lines("kvs_version_get(1, 1)", fresh, not_copied, made_fresh(2), opened));
}

TEST_F(RunningStore, IsFreshWhenTheStartupStoreCannotBeCopied) {
  when("kvs_snapshot").returns(RCODE_IO);
  EXPECT_EQ(make(startup_of_version(1)), 0u);
  expect(lines("kvs_version_get(1, 1)", compatible, "kvs_snapshot(1, 0, 'running:tesk_cfg')",
               failed(":Failed to snapshot reference to running KVS - 0x40010009"), fresh, not_copied,
               made_fresh(2), opened));
  EXPECT_EQ(handle, 3u);
}

TEST_F(RunningStore, IsGivenUpWhenItCannotBeCreated) {
  when("kvs_create").returns(0).gives(RCODE_IO);
  EXPECT_EQ(make(0), RCODE_IO);
  expect(
      {fresh, "kvs_create('running:tesk_cfg')", failed(":Failed to create KVS for running KVS\n"), given_up});
  EXPECT_EQ(handle, 0u);
}

TEST_F(RunningStore, IsGivenUpWithItsCreationsHandleWhenItsVersionCannotBeSet) {
  when("kvs_version_set").returns(RCODE_INVALID);
  EXPECT_EQ(make(0), RCODE_INVALID);
  expect({fresh, "kvs_create('running:tesk_cfg')", "kvs_version_set(1, 1, 0x1)",
          failed(":Failed to set KVS version for running cfg\n"), given_up});
  EXPECT_EQ(handle, 1u);
}

TEST_F(RunningStore, IsGivenUpWithItsCreationsHandleWhenItsValuesCannotBeLimited) {
  when("kvs_max_value").returns(RCODE_INVALID);
  EXPECT_EQ(make(0), RCODE_INVALID);
  expect(lines(fresh, made_fresh(1), failed(":Failed to set max val sz for KVS\n"), given_up));
  EXPECT_EQ(handle, 1u);
}

TEST_F(RunningStore, IsGivenUpWhenItDoesNotOpen) {
  when("kvs_open").returns(0).gives(RCODE_CORRUPT);
  EXPECT_EQ(make(0), RCODE_CORRUPT);
  expect(lines(fresh, made_fresh(1), opened, failed(":Failed to open created running cfg KVS\n"), given_up));
  EXPECT_EQ(handle, 0u);
}

TEST_F(RunningStore, IsGivenUpWhenItsCopyDoesNotOpen) {
  when("kvs_open").returns(0).gives(RCODE_CORRUPT);
  EXPECT_EQ(make(startup_of_version(1)), RCODE_CORRUPT);
  expect({"kvs_version_get(1, 1)", compatible, "kvs_snapshot(1, 0, 'running:tesk_cfg')",
          control_of(maker, ":Startup Configuration copied to running configuration\n"), opened,
          failed(":Failed to open created running cfg KVS\n"), given_up});
  EXPECT_EQ(handle, 0u);
}

TEST_F(RunningStore, IsJudgedByTheCodeAndKeepsTheLastHandleWhateverItIs) {
  when("kvs_create").once().returns(55).gives(RCODE_IO);
  EXPECT_EQ(make(0), RCODE_IO);
  expect(
      {fresh, "kvs_create('running:tesk_cfg')", failed(":Failed to create KVS for running KVS\n"), given_up});
  EXPECT_EQ(handle, 55u);
  when("kvs_open").call(1).returns(56).gives(RCODE_CORRUPT);
  EXPECT_EQ(make(0), RCODE_CORRUPT);
  expect(lines(fresh, made_fresh(1), opened, failed(":Failed to open created running cfg KVS\n"), given_up));
  EXPECT_EQ(handle, 56u);
  when("kvs_create").once().returns(0).gives(RCODE_SUCCESS);
  for (const char *operation : {"kvs_version_set", "kvs_max_value"}) when(operation).once().returns(0);
  when("kvs_open").call(1).returns(0).gives(RCODE_SUCCESS);
  EXPECT_EQ(make(0), RCODE_SUCCESS);
  expect(lines(fresh, made_fresh(0), opened));
  EXPECT_EQ(handle, 0u);
}

TEST_F(RunningStore, HasNoUriWhenTheSupervisorDoesNotTell) {
  when("overseer_running_cfg_uri_get").returns(0);
  EXPECT_EQ(tesk_kvs_cfg_init(), 0u);
  EXPECT_STREQ(tesk_kvs_config_url, "");
  expect_end({"kvs_open('')"});
}

TEST_F(RunningStore, IsMadeUnderTheRunningUriFromTheOpenStartupStore) {
  tesk_kvs_startup_cfg = startup_of_version(1, {10});
  EXPECT_EQ(tesk_kvs_cfg_init(), 0u);
  EXPECT_STREQ(tesk_kvs_config_url, "running:tesk_cfg");
  EXPECT_EQ(tesk_kvs_cfg, 2u);
  EXPECT_EQ(store(running_store).records.size(), 1u);
  ignore_rest();
}

// Read before any test runs: the handles as they are when the program starts.
const kvs_service_t handles_at_start[] = {tesk_debug_kvs, tesk_kvs_cfg, tesk_kvs_startup_cfg};

TEST(StoreHandles, AreNoneWhenTheProgramStarts) {
  for (const kvs_service_t handle : handles_at_start) EXPECT_EQ(handle, 0u);
}

/* ---- the save request ---- */

class SaveRequest : public Stores {
 protected:
  SaveRequest() {
    tesk_kvs_cfg = open_store(running_store);
    store_cin_vlans(running_store, {10, 20});
  }

  int save() { return overseercb_cfg_write(&request, "elsewhere:", "debug:"); }

  qbus_msg_ref_t request = hold({.opcode = 0x77});
  static constexpr const char *callback = "overseercb_cfg_write";
};

TEST_F(SaveRequest, CopiesTheRunningStoreAndAnswersTheSupervisor) {
  EXPECT_EQ(save(), 0);
  expect({"kvs_snapshot(1, 0, 'elsewhere:tesk_startup_cfg')", "overseer_cfg_action_done(message 0x77, 0)",
          control_of(callback, ":Snapshot running config to startup config KVS done\n")});
  EXPECT_EQ(store("elsewhere:tesk_startup_cfg").records.size(), 2u);
}

TEST_F(SaveRequest, IsDoneThoughTheSupervisorTakesNoAnswer) {
  when("overseer_cfg_action_done").returns(5);
  EXPECT_EQ(save(), 0);
  expect({"kvs_snapshot(1, 0, 'elsewhere:tesk_startup_cfg')", "overseer_cfg_action_done(message 0x77, 0)",
          control_of(callback, ":Snapshot running config to startup config KVS done\n")});
}

TEST_F(SaveRequest, ThatFailsIsAnsweredWithTheCode) {
  when("kvs_snapshot").returns(28);
  EXPECT_EQ(save(), 28);
  expect({"kvs_snapshot(1, 0, 'elsewhere:tesk_startup_cfg')",
          error_of(callback, ":Failed to snapshot running config to startup config KVS\n"),
          "overseer_cfg_action_done(message 0x77, 28)",
          control_of(callback, ":Snapshot running config to startup config KVS done\n")});
  EXPECT_FALSE(store_exists("elsewhere:tesk_startup_cfg"));
}

}  // namespace
