#include "opal/kvs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <fstream>

#include "tests/host/system/temporary_folder.h"

namespace {

using Texts = std::vector<std::string>;

class KvsTest : public testing::Test {
 protected:
  std::string uri(const char *name) const { return "file://" + (folder_.path() / name).string(); }
  kvs_service_t create(const char *name) const {
    rcode_t rcode = 1;
    const kvs_service_t store = kvs_create(uri(name).c_str(), &rcode);
    EXPECT_EQ(rcode, RCODE_SUCCESS);
    EXPECT_NE(store, 0u);
    return store;
  }
  kvs_service_t open(const char *name, rcode_t expected = RCODE_SUCCESS) const {
    rcode_t rcode = 1;
    const kvs_service_t store = kvs_open(uri(name).c_str(), &rcode);
    EXPECT_EQ(rcode, expected);
    EXPECT_EQ(store != 0, expected == RCODE_SUCCESS);
    return store;
  }
  static rcode_t put(kvs_service_t store, std::string key, std::string value, uint32_t option = 1) {
    const kvs_datum_t key_datum{key.data(), static_cast<uint32_t>(key.size())};
    const kvs_datum_t value_datum{value.empty() ? nullptr : value.data(),
                                  static_cast<uint32_t>(value.size())};
    return kvs_store(store, option, &key_datum, &value_datum);
  }
  static rcode_t erase(kvs_service_t store, std::string key) {
    const kvs_datum_t key_datum{key.data(), static_cast<uint32_t>(key.size())};
    return kvs_delete(store, &key_datum);
  }
  static std::string text(const kvs_datum_t *datum) {
    return datum->siz > 0 ? std::string(static_cast<const char *>(datum->ptr), datum->siz) : std::string();
  }
  /// @return the value, or "rcode N"
  static std::string get(kvs_service_t store, std::string key) {
    const kvs_datum_t key_datum{key.data(), static_cast<uint32_t>(key.size())};
    rcode_t rcode = 0;
    const kvs_datum_t *value = kvs_fetch(store, &key_datum, &rcode);
    EXPECT_EQ(value != nullptr, rcode == RCODE_SUCCESS);
    return value != nullptr ? text(value) : rcode2str(rcode);
  }
  static std::string move(kvs_service_t store, uint32_t where) {
    rcode_t rcode = 1;
    const kvs_datum_t *key = kvs_move2location(store, where, &rcode);
    EXPECT_EQ(rcode, RCODE_SUCCESS);
    return key != nullptr ? text(key) : "end";
  }
  static Texts keys(kvs_service_t store) {
    Texts result;
    for (std::string key = move(store, KVS_LOCATION_FIRST); key != "end";
         key = move(store, KVS_LOCATION_NEXT))
      result.push_back(key);
    return result;
  }
  TemporaryFolder folder_{"/dev/shm"};  ///< in memory: every write is synced, which is slow on a disk
};

TEST_F(KvsTest, KeepsRecordsVersionsAndLimitsAcrossAClose) {
  const kvs_service_t store = create("s");
  EXPECT_EQ(kvs_max_key(store, 8), RCODE_SUCCESS);
  EXPECT_EQ(kvs_max_value(store, 4), RCODE_SUCCESS);
  EXPECT_EQ(kvs_version_set(store, 1, 0x00100001), RCODE_SUCCESS);
  EXPECT_EQ(put(store, "key", "abcd"), RCODE_SUCCESS);
  EXPECT_EQ(kvs_close(store), RCODE_SUCCESS);
  const kvs_service_t again = open("s");
  version_id_t version = 0;
  EXPECT_EQ(kvs_version_get(again, 1, &version), RCODE_SUCCESS);
  EXPECT_EQ(version, version_id_set(1, 0, 1));
  EXPECT_EQ(get(again, "key"), "abcd");
  EXPECT_EQ(put(again, "key", "abcde"), RCODE_TOO_LARGE);
  EXPECT_EQ(put(again, "key567890", "a"), RCODE_TOO_LARGE);
  EXPECT_EQ(put(again, "key56789", "abcd"), RCODE_SUCCESS);
  EXPECT_EQ(kvs_close(again), RCODE_SUCCESS);
}

TEST_F(KvsTest, DefaultLimitsAre64And1024) {
  const kvs_service_t store = create("s");
  EXPECT_EQ(put(store, std::string(64, 'k'), std::string(1024, 'v')), RCODE_SUCCESS);
  EXPECT_EQ(put(store, std::string(65, 'k'), ""), RCODE_TOO_LARGE);
  EXPECT_EQ(put(store, "k", std::string(1025, 'v')), RCODE_TOO_LARGE);
  EXPECT_EQ(kvs_max_key(store, 0), RCODE_INVALID);
  kvs_close(store);
}

TEST_F(KvsTest, AnEmptyValueIsARecordAllTheSame) {
  const kvs_service_t store = create("s");
  EXPECT_EQ(put(store, std::string("\0\0\0\0\0\0\0\x64", 8), ""), RCODE_SUCCESS);
  EXPECT_EQ(get(store, std::string("\0\0\0\0\0\0\0\x64", 8)), "");
  EXPECT_EQ(get(store, "absent"), "not found");
  EXPECT_EQ(erase(store, "absent"), RCODE_NOT_FOUND);
  EXPECT_EQ(put(store, "", "v"), RCODE_INVALID);
  kvs_close(store);
}

TEST_F(KvsTest, WalksInInsertionOrderAndReplacingKeepsThePlace) {
  const kvs_service_t store = create("s");
  for (const char *key : {"z", "a", "m"}) put(store, key, "1");
  EXPECT_EQ(put(store, "a", "2", 1), RCODE_SUCCESS);
  EXPECT_EQ(put(store, "a", "3", 0), RCODE_EXISTS);
  EXPECT_EQ(get(store, "a"), "2");
  EXPECT_EQ(keys(store), (Texts{"z", "a", "m"}));
  EXPECT_EQ(erase(store, "z"), RCODE_SUCCESS);
  EXPECT_EQ(put(store, "z", "1"), RCODE_SUCCESS);
  EXPECT_EQ(keys(store), (Texts{"a", "m", "z"}));
  kvs_close(store);
}

TEST_F(KvsTest, TheCursorSurvivesDeletionsAndIsEachHandlesOwn) {
  const kvs_service_t store = create("s");
  for (const char *key : {"1", "2", "3", "4"}) put(store, key, "");
  const kvs_service_t other = open("s");
  EXPECT_EQ(move(store, KVS_LOCATION_FIRST), "1");
  EXPECT_EQ(move(store, KVS_LOCATION_NEXT), "2");
  EXPECT_EQ(move(other, KVS_LOCATION_FIRST), "1");
  EXPECT_EQ(erase(store, "2"), RCODE_SUCCESS);
  EXPECT_EQ(erase(other, "3"), RCODE_SUCCESS);
  EXPECT_EQ(move(store, KVS_LOCATION_NEXT), "4");
  EXPECT_EQ(erase(store, "4"), RCODE_SUCCESS);
  EXPECT_EQ(move(store, KVS_LOCATION_NEXT), "end");
  EXPECT_EQ(put(store, "5", ""), RCODE_SUCCESS);
  EXPECT_EQ(move(store, KVS_LOCATION_NEXT), "5");
  EXPECT_EQ(move(other, KVS_LOCATION_NEXT), "5");
  kvs_close(store);
  kvs_close(other);
}

TEST_F(KvsTest, AWalkOfNothingEndsAtOnce) {
  const kvs_service_t store = create("s");
  EXPECT_EQ(keys(store), Texts{});
  rcode_t rcode = 0;
  EXPECT_EQ(kvs_move2location(store, 2, &rcode), nullptr);
  EXPECT_EQ(rcode, RCODE_INVALID);
  kvs_close(store);
}

TEST_F(KvsTest, AVersionThatWasNeverWrittenIsNotFound) {
  const kvs_service_t store = create("s");
  version_id_t version = 99;
  EXPECT_EQ(kvs_version_get(store, 1, &version), RCODE_NOT_FOUND);
  EXPECT_EQ(version, 99u);
  kvs_close(store);
}

TEST_F(KvsTest, TwoHandlesOfOneFileSeeTheSame) {
  const kvs_service_t created = create("s");
  const kvs_service_t opened = open("s");
  EXPECT_NE(created, opened);
  EXPECT_EQ(put(opened, "k", "1"), RCODE_SUCCESS);
  EXPECT_EQ(get(created, "k"), "1");
  EXPECT_EQ(put(created, "k", "2"), RCODE_SUCCESS);
  EXPECT_EQ(get(opened, "k"), "2");
  kvs_close(created);
  EXPECT_EQ(get(opened, "k"), "2");
  kvs_close(opened);
}

TEST_F(KvsTest, CreateReplacesAndTheOldHandleKeepsTheOldStore) {
  const kvs_service_t old = create("s");
  put(old, "k", "old");
  const kvs_service_t fresh = create("s");
  EXPECT_EQ(keys(fresh), Texts{});
  EXPECT_EQ(get(old, "k"), "old");
  EXPECT_EQ(put(old, "k", "new"), RCODE_IO);
  EXPECT_EQ(put(fresh, "k", "fresh"), RCODE_SUCCESS);
  kvs_close(old);
  kvs_close(fresh);
  const kvs_service_t again = open("s");
  EXPECT_EQ(get(again, "k"), "fresh");
  kvs_close(again);
}

TEST_F(KvsTest, SnapshotCopiesRecordsInOrderWithVersionsAndLimits) {
  const kvs_service_t source = create("s");
  for (const char *key : {"z", "a", "m"}) put(source, key, key);
  erase(source, "z");
  kvs_max_value(source, 5);
  kvs_version_set(source, 1, 1);
  const kvs_service_t destination = create("d");
  put(destination, "other", "x");
  EXPECT_EQ(kvs_snapshot(source, 0, uri("d").c_str()), RCODE_SUCCESS);
  EXPECT_EQ(keys(destination), Texts{"other"});
  EXPECT_EQ(put(destination, "other", "y"), RCODE_IO);
  const kvs_service_t copy = open("d");
  EXPECT_EQ(keys(copy), (Texts{"a", "m"}));
  EXPECT_EQ(put(copy, "k", "123456"), RCODE_TOO_LARGE);
  version_id_t version = 0;
  EXPECT_EQ(kvs_version_get(copy, 1, &version), RCODE_SUCCESS);
  EXPECT_EQ(version, 1u);
  put(copy, "only in the copy", "");
  EXPECT_EQ(get(source, "only in the copy"), "not found");
  for (const kvs_service_t store : {source, destination, copy}) kvs_close(store);
}

TEST_F(KvsTest, SnapshotOntoItselfOrIntoAMissingFolderChangesNothing) {
  const kvs_service_t source = create("s");
  put(source, "k", "v");
  EXPECT_EQ(kvs_snapshot(source, 0, uri("s").c_str()), RCODE_INVALID);
  EXPECT_NE(kvs_snapshot(source, 0, uri("missing/d").c_str()), RCODE_SUCCESS);
  EXPECT_EQ(get(source, "k"), "v");
  EXPECT_EQ(put(source, "k", "w"), RCODE_SUCCESS);
  kvs_close(source);
}

TEST_F(KvsTest, LeavesNothingBesideItsFiles) {
  const kvs_service_t store = create("s");
  put(store, "k", "v");
  kvs_snapshot(store, 0, uri("d").c_str());
  Texts names;
  for (const auto &entry : std::filesystem::directory_iterator(folder_.path()))
    names.push_back(entry.path().filename().string());
  std::ranges::sort(names);
  EXPECT_EQ(names, (Texts{"d", "s"}));
  kvs_close(store);
}

TEST_F(KvsTest, WhatIsNotAStoreIsRefused) {
  open("missing", RCODE_NOT_FOUND);
  std::ofstream(folder_.path() / "empty").flush();
  open("empty", RCODE_CORRUPT);
  std::ofstream(folder_.path() / "text")
      << "not a store at all, but long enough to look at: " << std::string(4096, 'x');
  open("text", RCODE_CORRUPT);
  std::filesystem::create_directory(folder_.path() / "folder");
  open("folder", RCODE_IO);
  sqlite3 *foreign = nullptr;
  ASSERT_EQ(sqlite3_open((folder_.path() / "foreign").c_str(), &foreign), SQLITE_OK);
  sqlite3_exec(foreign, "CREATE TABLE record(place, key, value)", nullptr, nullptr, nullptr);
  sqlite3_close(foreign);
  open("foreign", RCODE_CORRUPT);
}

TEST_F(KvsTest, ADamagedStoreIsCorruptAndCanBeReplaced) {
  const kvs_service_t store = create("s");
  for (int number = 0; number < 500; ++number)
    put(store, "key " + std::to_string(number), std::string(100, 'v'));
  kvs_close(store);
  const auto size = std::filesystem::file_size(folder_.path() / "s");
  ASSERT_GT(size, 32768u);
  std::filesystem::resize_file(folder_.path() / "s", size / 2);
  open("s", RCODE_CORRUPT);
  std::fstream file(folder_.path() / "s", std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(4096);
  file << std::string(8192, '\xff');
  file.close();
  open("s", RCODE_CORRUPT);
  const kvs_service_t fresh = create("s");
  EXPECT_EQ(keys(fresh), Texts{});
  kvs_close(fresh);
}

TEST_F(KvsTest, TakesNoUriButAFilesAbsolutePath) {
  for (const char *wrong : {"", "file://", "file:///", "/tmp/plain", "file://relative", "http:///x"}) {
    rcode_t rcode = 0;
    EXPECT_EQ(kvs_open(wrong, &rcode), 0u) << wrong;
    EXPECT_EQ(rcode, RCODE_INVALID) << wrong;
  }
  rcode_t rcode = 0;
  EXPECT_EQ(kvs_create(nullptr, &rcode), 0u);
  EXPECT_EQ(rcode, RCODE_INVALID);
}

TEST_F(KvsTest, AHandleThatIsNotOpenIsRefusedByEveryOperation) {
  const kvs_service_t store = create("s");
  kvs_close(store);
  version_id_t version = 0;
  for (const kvs_service_t wrong : {store, kvs_service_t{0}, kvs_service_t{0xffffffff}}) {
    EXPECT_EQ(kvs_close(wrong), RCODE_INVALID);
    EXPECT_EQ(kvs_max_key(wrong, 1), RCODE_INVALID);
    EXPECT_EQ(kvs_version_get(wrong, 1, &version), RCODE_INVALID);
    EXPECT_EQ(kvs_snapshot(wrong, 0, uri("d").c_str()), RCODE_INVALID);
    EXPECT_EQ(put(wrong, "k", "v"), RCODE_INVALID);
    EXPECT_EQ(erase(wrong, "k"), RCODE_INVALID);
    EXPECT_EQ(get(wrong, "k"), "invalid argument");
  }
}

}  // namespace
