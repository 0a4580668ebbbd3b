// A process is killed during snapshots and writes: the destination is the complete old store or the
// complete new one.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <random>
#include <thread>

#include "opal/kvs.h"
#include "tests/host/system/temporary_folder.h"

namespace {

constexpr uint32_t records = 60;

// A test that kills only a process needs no disk. In memory, a snapshot takes less than the random time
// before the kill.
constexpr const char *memory_folder = "/dev/shm";

std::string uri(const TemporaryFolder &folder, const std::string &name) {
  return "file://" + (folder.path() / name).string();
}

void put(kvs_service_t store, uint32_t key, std::string value) {
  const kvs_datum_t key_datum{&key, sizeof key};
  const kvs_datum_t value_datum{value.data(), static_cast<uint32_t>(value.size())};
  ASSERT_EQ(kvs_store(store, 1, &key_datum, &value_datum), RCODE_SUCCESS);
}

/// Makes a store in which every record has the same value.
void make_store(const TemporaryFolder &folder, const std::string &name, const std::string &value) {
  rcode_t rcode = 0;
  const kvs_service_t store = kvs_create(uri(folder, name).c_str(), &rcode);
  ASSERT_EQ(rcode, RCODE_SUCCESS);
  for (uint32_t key = 1; key <= records; ++key) put(store, key, value);
  kvs_close(store);
}

kvs_service_t must_open(const TemporaryFolder &folder, const std::string &name) {
  rcode_t rcode = 0;
  const kvs_service_t store = kvs_open(uri(folder, name).c_str(), &rcode);
  EXPECT_EQ(rcode, RCODE_SUCCESS) << rcode2str(rcode);
  return store;
}

/// @return the value that all records of the store have; "mixed" when they differ, "short" when some are
/// missing
std::string content(const TemporaryFolder &folder, const std::string &name) {
  const kvs_service_t store = must_open(folder, name);
  std::string common;
  uint32_t count = 0;
  rcode_t rcode = 0;
  for (const kvs_datum_t *key = kvs_move2location(store, KVS_LOCATION_FIRST, &rcode); key != nullptr;
       key = kvs_move2location(store, KVS_LOCATION_NEXT, &rcode)) {
    uint32_t number = 0;
    std::memcpy(&number, key->ptr, sizeof number);
    const kvs_datum_t wanted{&number, sizeof number};
    const kvs_datum_t *value = kvs_fetch(store, &wanted, &rcode);
    const std::string text(static_cast<const char *>(value->ptr), value->siz);
    if (count++ == 0) common = text;
    if (text != common) return "mixed";
  }
  kvs_close(store);
  return count == records ? common : "short";
}

/// Snapshots the two sources to the destination in turn, without end.
[[noreturn]] void snapshot_for_ever(const TemporaryFolder &folder, int started) {
  rcode_t rcode = 0;
  const kvs_service_t sources[] = {kvs_open(uri(folder, "odd").c_str(), &rcode),
                                   kvs_open(uri(folder, "even").c_str(), &rcode)};
  for (unsigned turn = 0;; ++turn) {
    if (kvs_snapshot(sources[turn % 2], 0, uri(folder, "destination").c_str()) != RCODE_SUCCESS) _exit(1);
    if (turn == 0 && write(started, "", 1) != 1) _exit(1);
  }
}

TEST(SnapshotCrash, TheDestinationIsTheOldStoreOrTheNewOne) {
  const TemporaryFolder folder{memory_folder};
  make_store(folder, "odd", std::string(300, 'o'));
  make_store(folder, "even", std::string(500, 'e'));
  std::mt19937 random(4711);
  int odd = 0;
  int even = 0;
  for (int round = 0; round < 80; ++round) {
    int started[2];
    ASSERT_EQ(pipe(started), 0);
    const pid_t child = fork();
    if (child == 0) snapshot_for_ever(folder, started[1]);
    char byte = 0;
    close(started[1]);
    ASSERT_EQ(read(started[0], &byte, 1), 1);
    close(started[0]);
    // The instant is random on purpose; nothing is awaited.
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    const std::string text = content(folder, "destination");
    ASSERT_TRUE(text == std::string(300, 'o') || text == std::string(500, 'e')) << text.substr(0, 8);
    ++(text.front() == 'o' ? odd : even);
  }
  EXPECT_GT(odd, 0);
  EXPECT_GT(even, 0);
}

/// Replaces records without end; the kill may come in the middle of a transaction.
[[noreturn]] void write_for_ever(const TemporaryFolder &folder, int started) {
  rcode_t rcode = 0;
  const kvs_service_t store = kvs_open(uri(folder, "destination").c_str(), &rcode);
  for (uint32_t key = 1;; key = key % records + 1) {
    std::string value(300, static_cast<char>('0' + key % 10));
    const kvs_datum_t key_datum{&key, sizeof key};
    const kvs_datum_t value_datum{value.data(), 300};
    if (kvs_store(store, 1, &key_datum, &value_datum) != RCODE_SUCCESS) _exit(1);
    if (key == 1 && started >= 0 && write(started, "", 1) != 1) _exit(1);
  }
}

TEST(SnapshotCrash, AJournalLeftBesideTheDestinationDoesNotSpoilTheNewStore) {
  const TemporaryFolder folder{memory_folder};
  make_store(folder, "source", std::string(700, 's'));
  std::mt19937 random(1234);
  int journals = 0;
  for (int round = 0; round < 80; ++round) {
    make_store(folder, "destination", std::string(300, 'd'));
    int started[2];
    ASSERT_EQ(pipe(started), 0);
    const pid_t child = fork();
    if (child == 0) write_for_ever(folder, started[1]);
    char byte = 0;
    close(started[1]);
    ASSERT_EQ(read(started[0], &byte, 1), 1);
    close(started[0]);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 5'000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    journals += std::filesystem::exists(folder.path() / "destination-journal") ? 1 : 0;
    const kvs_service_t source = must_open(folder, "source");
    ASSERT_EQ(kvs_snapshot(source, 0, uri(folder, "destination").c_str()), RCODE_SUCCESS);
    kvs_close(source);
    ASSERT_EQ(content(folder, "destination"), std::string(700, 's'));
  }
  EXPECT_GT(journals, 0) << "no kill interrupted a transaction";
}

}  // namespace
