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

host::Result<> execute(sqlite3 *database, const char *text) {
  return result_of_sqlite(sqlite3_exec(database, text, nullptr, nullptr, nullptr));
}

/// Opens a database file with little memory and full durability; does not read it yet.
host::Result<Database> connect(const std::filesystem::path &file, int flags) {
  sqlite3 *raw = nullptr;
  const int result =
      sqlite3_open_v2(file.c_str(), &raw, flags | SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  Database database(raw);
  if (host::Result<> opened = result_of_sqlite(result); !opened) return failed(std::move(opened));
  sqlite3_busy_timeout(raw, busy_timeout_ms);
  constexpr const char *settings =
      "PRAGMA cache_size = -64; PRAGMA synchronous = EXTRA; PRAGMA temp_store = MEMORY";
  if (host::Result<> set = execute(raw, settings); !set) return failed(std::move(set));
  return database;
}

/// @return the number that a query finds; nothing when it finds none
std::optional<std::int64_t> number(sqlite3 *database, const char *query) {
  Statement statement(database, query);
  return statement.step() ? std::optional(statement.number(0)) : std::nullopt;
}

/// Reading the file also rolls back a transaction that a crash left unfinished.
bool is_intact_store(sqlite3 *database) {
  if (number(database, "PRAGMA application_id") != application_id ||
      number(database, "PRAGMA user_version") != format_version)
    return false;
  Statement check(database, "PRAGMA quick_check(1)");
  if (!check.step() || check.text(0) != "ok") return false;
  return number(database, "SELECT count(*) FROM size_limit") == 2 &&
         number(database, "SELECT count(word) FROM version WHERE slot = 0") &&
         number(database, "SELECT count(value) FROM record WHERE place = 0 AND key = x''");
}

std::filesystem::path with_suffix(const std::filesystem::path &file, const char *suffix) {
  return file.native() + suffix;
}

bool sync(const std::filesystem::path &path, int flags) {
  const host::Descriptor descriptor(open(path.c_str(), flags | O_CLOEXEC));
  return descriptor && fsync(descriptor.get()) == 0;
}

/// A journal that a crash left beside the file belongs only to that file. Before another file takes the
/// name, the journal is rolled back, or deleted when the file cannot be repaired.
void settle_journal(const std::filesystem::path &file) {
  const std::filesystem::path journal = with_suffix(file, "-journal");
  if (access(journal.c_str(), F_OK) != 0) return;
  const host::Result<Database> old = connect(file, 0);
  if (!old || !is_intact_store(old->get())) unlink(journal.c_str());
}

std::filesystem::path prepare_fresh(const std::filesystem::path &file) {
  std::filesystem::path fresh = with_suffix(file, ".new");
  unlink(fresh.c_str());
  unlink(with_suffix(fresh, "-journal").c_str());
  return fresh;
}

host::Result<> put_in_place(const std::filesystem::path &fresh, const std::filesystem::path &file) {
  settle_journal(file);
  if (!sync(fresh, O_RDONLY) || std::rename(fresh.c_str(), file.c_str()) != 0) {
    unlink(fresh.c_str());
    return refused(RCODE_IO);
  }
  if (!sync(file.parent_path(), O_RDONLY | O_DIRECTORY)) return refused(RCODE_IO);
  return {};
}

bool same_file(const std::filesystem::path &one, const std::filesystem::path &other) {
  struct stat first {};
  struct stat second {};
  return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
         first.st_ino == second.st_ino && first.st_dev == second.st_dev;
}

}  // namespace

host::Result<Database> open_store_file(const std::filesystem::path &file) {
  if (access(file.c_str(), F_OK) != 0) return refused(RCODE_NOT_FOUND);
  host::Result<Database> database = connect(file, 0);
  if (database && !is_intact_store(database->get())) return refused(RCODE_CORRUPT);
  return database;
}

host::Result<> make_store_file(const std::filesystem::path &file, std::uint32_t key_limit,
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
  // The file is closed before it is renamed into place.
  host::Result<> filled = connect(fresh, SQLITE_OPEN_CREATE).and_then([&](const Database &database) {
    return execute(database.get(), schema.c_str());
  });
  return filled ? put_in_place(fresh, file) : filled;
}

host::Result<> copy_store_file(sqlite3 *source, const std::filesystem::path &source_file,
                               const std::filesystem::path &destination) {
  if (same_file(source_file, destination)) return refused(RCODE_INVALID);
  const std::filesystem::path fresh = prepare_fresh(destination);
  host::Result<> copied = Statement(source, "VACUUM INTO ?").bind(fresh.c_str()).run();
  return copied ? put_in_place(fresh, destination) : copied;
}

}  // namespace opal
