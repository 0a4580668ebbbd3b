#include "host/opal/store.h"

#include <string_view>

#include "host/opal/statement.h"
#include "host/opal/store_file.h"

namespace opal {
namespace {

constexpr std::uint32_t limit_max = 1 << 20;

}  // namespace

host::Result<> result_of_sqlite(int result) {
  switch (result & 0xff) {
    case SQLITE_OK:
    case SQLITE_DONE:
    case SQLITE_ROW:
      return {};
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:
      return refused(RCODE_CORRUPT);
    case SQLITE_NOMEM:
      return refused(RCODE_NO_MEMORY);
    case SQLITE_TOOBIG:
      return refused(RCODE_TOO_LARGE);
    case SQLITE_CONSTRAINT:
      return refused(RCODE_EXISTS);
    default:
      return refused(RCODE_IO);
  }
}

std::optional<std::filesystem::path> store_path(const char *uri) {
  constexpr std::string_view scheme = "file://";
  const std::string_view text = uri != nullptr ? uri : "";
  if (!text.starts_with(scheme) || text.size() <= scheme.size() + 1 || text[scheme.size()] != '/')
    return std::nullopt;
  return std::filesystem::path(text.substr(scheme.size()));
}

void CloseDatabase::operator()(sqlite3 *database) const { sqlite3_close(database); }

host::Result<Store> Store::open(const std::filesystem::path &file) {
  host::Result<Database> database = open_store_file(file);
  if (!database) return failed(std::move(database));
  return Store(std::move(*database), file);
}

host::Result<Store> Store::create(const std::filesystem::path &file) {
  return make_store_file(file, default_key_limit, default_value_limit).and_then([&] { return open(file); });
}

host::Result<> Store::set_limit(const char *name, std::uint32_t bytes) {
  if (bytes == 0 || bytes > limit_max) return refused(RCODE_INVALID);
  return Statement(database_.get(), "UPDATE size_limit SET bytes = ?2 WHERE name = ?1")
      .bind(name)
      .bind(bytes)
      .run();
}

host::Result<std::uint32_t> Store::limit(const char *name) {
  Statement statement(database_.get(), "SELECT bytes FROM size_limit WHERE name = ?");
  if (!statement.bind(name).step()) return statement.missing();
  return static_cast<std::uint32_t>(statement.number(0));
}

host::Result<> Store::set_key_limit(std::uint32_t bytes) { return set_limit("key", bytes); }
host::Result<> Store::set_value_limit(std::uint32_t bytes) { return set_limit("value", bytes); }

host::Result<> Store::set_version(std::uint32_t slot, std::uint32_t version) {
  return Statement(database_.get(), "REPLACE INTO version(slot, word) VALUES(?, ?)")
      .bind(slot)
      .bind(version)
      .run();
}

host::Result<std::uint32_t> Store::version(std::uint32_t slot) {
  Statement statement(database_.get(), "SELECT word FROM version WHERE slot = ?");
  if (!statement.bind(slot).step()) return statement.missing();
  return static_cast<std::uint32_t>(statement.number(0));
}

host::Result<Blob> Store::fetch(BlobView key) {
  Statement statement(database_.get(), "SELECT value FROM record WHERE key = ?");
  if (!statement.bind(key).step()) return statement.missing();
  return statement.blob(0);
}

host::Result<> Store::write(BlobView key, BlobView value, bool replace) {
  host::Result<std::uint32_t> key_limit = limit("key");
  if (!key_limit) return failed(std::move(key_limit));
  host::Result<std::uint32_t> value_limit = limit("value");
  if (!value_limit) return failed(std::move(value_limit));
  if (key.empty()) return refused(RCODE_INVALID);
  if (key.size() > *key_limit || value.size() > *value_limit) return refused(RCODE_TOO_LARGE);
  constexpr const char *insert = "INSERT INTO record(key, value) VALUES(?, ?)";
  constexpr const char *insert_or_replace =
      "INSERT INTO record(key, value) VALUES(?, ?) ON CONFLICT(key) DO UPDATE SET value = excluded.value";
  return Statement(database_.get(), replace ? insert_or_replace : insert).bind(key).bind(value).run();
}

host::Result<> Store::erase(BlobView key) {
  host::Result<> erased = Statement(database_.get(), "DELETE FROM record WHERE key = ?").bind(key).run();
  if (erased && sqlite3_changes(database_.get()) == 0) return refused(RCODE_NOT_FOUND);
  return erased;
}

host::Result<Blob> Store::next() {
  Statement statement(database_.get(),
                      "SELECT place, key FROM record WHERE place > ? ORDER BY place LIMIT 1");
  if (!statement.bind(cursor_).step()) return statement.missing();
  cursor_ = statement.number(0);
  return statement.blob(1);
}

host::Result<> Store::copy_to(const std::filesystem::path &destination) {
  return copy_store_file(database_.get(), file_, destination);
}

}  // namespace opal
