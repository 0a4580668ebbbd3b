#include "host/opal/store_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "host/opal/statement.h"
#include "host/system/descriptor.h"

namespace opal {
namespace {

constexpr int application_id = 0x4f4b5653;  // "OKVS"
constexpr int format_version = 1;
constexpr int busy_timeout_ms = 500;

rcode_t execute(sqlite3 *database, const char *text) {
  return rcode_of_sqlite(sqlite3_exec(database, text, nullptr, nullptr, nullptr));
}

/// Opens a database file with little memory and full durability; nothing is read yet.
Database connect(const std::filesystem::path &file, int flags, rcode_t &rcode) {
  sqlite3 *raw = nullptr;
  const int result =
      sqlite3_open_v2(file.c_str(), &raw, flags | SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  Database database(raw);
  rcode = rcode_of_sqlite(result);
  if (rcode == RCODE_SUCCESS) {
    sqlite3_busy_timeout(raw, busy_timeout_ms);
    rcode = execute(raw, "PRAGMA cache_size = -64; PRAGMA synchronous = EXTRA; PRAGMA temp_store = MEMORY");
  }
  if (rcode != RCODE_SUCCESS) return nullptr;
  return database;
}

std::int64_t pragma(sqlite3 *database, const char *text, rcode_t &rcode) {
  Statement statement(database, text);
  if (statement.step()) return statement.number(0);
  rcode = RCODE_CORRUPT;
  return 0;
}

/// Reading the file also rolls back what a crash left half-done in it.
rcode_t check(sqlite3 *database) {
  rcode_t rcode = RCODE_SUCCESS;
  const bool ours = pragma(database, "PRAGMA application_id", rcode) == application_id &&
                    pragma(database, "PRAGMA user_version", rcode) == format_version;
  if (!ours) return RCODE_CORRUPT;
  Statement intact(database, "PRAGMA quick_check(1)");
  if (!intact.step() || intact.text(0) != "ok") return RCODE_CORRUPT;
  const bool has_limits = pragma(database, "SELECT count(*) FROM size_limit", rcode) == 2;
  pragma(database, "SELECT count(word) FROM version WHERE slot = 0", rcode);
  pragma(database, "SELECT count(value) FROM record WHERE place = 0 AND key = x''", rcode);
  return has_limits ? rcode : rcode_t{RCODE_CORRUPT};
}

std::filesystem::path with_suffix(const std::filesystem::path &file, const char *suffix) {
  return file.native() + suffix;
}

bool sync(const std::filesystem::path &path, int flags) {
  const host::Descriptor descriptor(open(path.c_str(), flags | O_CLOEXEC));
  return descriptor && fsync(descriptor.get()) == 0;
}

/// A journal that a crash left beside the file belongs to that file alone: it is rolled back, or goes
/// with a file that is beyond repair, before another file takes the name.
void settle_journal(const std::filesystem::path &file) {
  const std::filesystem::path journal = with_suffix(file, "-journal");
  if (access(journal.c_str(), F_OK) != 0) return;
  rcode_t rcode = RCODE_SUCCESS;
  const Database old = connect(file, 0, rcode);
  if (!old || check(old.get()) != RCODE_SUCCESS) unlink(journal.c_str());
}

std::filesystem::path prepare_fresh(const std::filesystem::path &file) {
  std::filesystem::path fresh = with_suffix(file, ".new");
  unlink(fresh.c_str());
  unlink(with_suffix(fresh, "-journal").c_str());
  return fresh;
}

rcode_t put_in_place(const std::filesystem::path &fresh, const std::filesystem::path &file) {
  settle_journal(file);
  if (!sync(fresh, O_RDONLY) || std::rename(fresh.c_str(), file.c_str()) != 0) {
    unlink(fresh.c_str());
    return RCODE_IO;
  }
  return sync(file.parent_path(), O_RDONLY | O_DIRECTORY) ? RCODE_SUCCESS : RCODE_IO;
}

bool same_file(const std::filesystem::path &one, const std::filesystem::path &other) {
  struct stat first {};
  struct stat second {};
  return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
         first.st_ino == second.st_ino && first.st_dev == second.st_dev;
}

}  // namespace

Database open_store_file(const std::filesystem::path &file, rcode_t &rcode) {
  if (access(file.c_str(), F_OK) != 0) {
    rcode = RCODE_NOT_FOUND;
    return nullptr;
  }
  Database database = connect(file, 0, rcode);
  if (database) rcode = check(database.get());
  if (rcode != RCODE_SUCCESS) return nullptr;
  return database;
}

rcode_t make_store_file(const std::filesystem::path &file, std::uint32_t key_limit,
                        std::uint32_t value_limit) {
  const std::filesystem::path fresh = prepare_fresh(file);
  const std::string schema =
      "PRAGMA application_id = " + std::to_string(application_id) +
      "; PRAGMA user_version = " + std::to_string(format_version) +
      "; CREATE TABLE record(place INTEGER PRIMARY KEY AUTOINCREMENT, key BLOB NOT NULL UNIQUE, value BLOB "
      "NOT NULL)"
      "; CREATE TABLE version(slot INTEGER PRIMARY KEY, word INTEGER NOT NULL)"
      "; CREATE TABLE size_limit(name TEXT PRIMARY KEY, bytes INTEGER NOT NULL) WITHOUT ROWID"
      "; INSERT INTO size_limit VALUES('key', " +
      std::to_string(key_limit) + "), ('value', " + std::to_string(value_limit) + ")";
  rcode_t rcode = RCODE_SUCCESS;
  {
    const Database database = connect(fresh, SQLITE_OPEN_CREATE, rcode);
    if (database) rcode = execute(database.get(), schema.c_str());
  }
  return rcode == RCODE_SUCCESS ? put_in_place(fresh, file) : rcode;
}

rcode_t copy_store_file(sqlite3 *source, const std::filesystem::path &source_file,
                        const std::filesystem::path &destination) {
  if (same_file(source_file, destination)) return RCODE_INVALID;
  const std::filesystem::path fresh = prepare_fresh(destination);
  const rcode_t rcode = Statement(source, "VACUUM INTO ?").bind(fresh.c_str()).run();
  return rcode == RCODE_SUCCESS ? put_in_place(fresh, destination) : rcode;
}

}  // namespace opal
