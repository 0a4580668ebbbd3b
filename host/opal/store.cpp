#include "host/opal/store.h"

#include <string_view>

#include "host/opal/statement.h"
#include "host/opal/store_file.h"

namespace opal {
namespace {

constexpr std::uint32_t limit_max = 1 << 20;

}  // namespace

rcode_t rcode_of_sqlite(int result) {
  switch (result & 0xff) {
    case SQLITE_OK:
    case SQLITE_DONE:
    case SQLITE_ROW:
      return RCODE_SUCCESS;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:
      return RCODE_CORRUPT;
    case SQLITE_NOMEM:
      return RCODE_NO_MEMORY;
    case SQLITE_TOOBIG:
      return RCODE_TOO_LARGE;
    case SQLITE_CONSTRAINT:
      return RCODE_EXISTS;
    default:
      return RCODE_IO;
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

std::optional<Store> Store::open(const std::filesystem::path &file, rcode_t &rcode) {
  Database database = open_store_file(file, rcode);
  if (!database) return std::nullopt;
  return Store(std::move(database), file);
}

std::optional<Store> Store::create(const std::filesystem::path &file, rcode_t &rcode) {
  rcode = make_store_file(file, default_key_limit, default_value_limit);
  return rcode == RCODE_SUCCESS ? open(file, rcode) : std::nullopt;
}

rcode_t Store::set_limit(const char *name, std::uint32_t bytes) {
  if (bytes == 0 || bytes > limit_max) return RCODE_INVALID;
  return Statement(database_.get(), "UPDATE size_limit SET bytes = ?2 WHERE name = ?1")
      .bind(name)
      .bind(bytes)
      .run();
}

rcode_t Store::limit(const char *name, std::uint32_t &bytes) {
  Statement statement(database_.get(), "SELECT bytes FROM size_limit WHERE name = ?");
  if (!statement.bind(name).step()) return statement.missing();
  bytes = static_cast<std::uint32_t>(statement.number(0));
  return RCODE_SUCCESS;
}

rcode_t Store::set_key_limit(std::uint32_t bytes) { return set_limit("key", bytes); }
rcode_t Store::set_value_limit(std::uint32_t bytes) { return set_limit("value", bytes); }

rcode_t Store::set_version(std::uint32_t slot, std::uint32_t version) {
  return Statement(database_.get(), "REPLACE INTO version(slot, word) VALUES(?, ?)")
      .bind(slot)
      .bind(version)
      .run();
}

rcode_t Store::version(std::uint32_t slot, std::uint32_t &version) {
  Statement statement(database_.get(), "SELECT word FROM version WHERE slot = ?");
  if (!statement.bind(slot).step()) return statement.missing();
  version = static_cast<std::uint32_t>(statement.number(0));
  return RCODE_SUCCESS;
}

rcode_t Store::fetch(BlobView key, Blob &value) {
  Statement statement(database_.get(), "SELECT value FROM record WHERE key = ?");
  if (!statement.bind(key).step()) return statement.missing();
  value = statement.blob(0);
  return RCODE_SUCCESS;
}

rcode_t Store::write(BlobView key, BlobView value, bool replace) {
  std::uint32_t key_limit = 0;
  std::uint32_t value_limit = 0;
  if (const rcode_t rcode = limit("key", key_limit); rcode != RCODE_SUCCESS) return rcode;
  if (const rcode_t rcode = limit("value", value_limit); rcode != RCODE_SUCCESS) return rcode;
  if (key.empty()) return RCODE_INVALID;
  if (key.size() > key_limit || value.size() > value_limit) return RCODE_TOO_LARGE;
  constexpr const char *insert = "INSERT INTO record(key, value) VALUES(?, ?)";
  constexpr const char *insert_or_replace =
      "INSERT INTO record(key, value) VALUES(?, ?) ON CONFLICT(key) DO UPDATE SET value = excluded.value";
  return Statement(database_.get(), replace ? insert_or_replace : insert).bind(key).bind(value).run();
}

rcode_t Store::erase(BlobView key) {
  const rcode_t rcode = Statement(database_.get(), "DELETE FROM record WHERE key = ?").bind(key).run();
  if (rcode != RCODE_SUCCESS) return rcode;
  return sqlite3_changes(database_.get()) == 0 ? RCODE_NOT_FOUND : RCODE_SUCCESS;
}

rcode_t Store::next(Blob &key) {
  Statement statement(database_.get(),
                      "SELECT place, key FROM record WHERE place > ? ORDER BY place LIMIT 1");
  if (!statement.bind(cursor_).step()) return statement.missing();
  cursor_ = statement.number(0);
  key = statement.blob(1);
  return RCODE_SUCCESS;
}

rcode_t Store::copy_to(const std::filesystem::path &destination) {
  return copy_store_file(database_.get(), file_, destination);
}

}  // namespace opal
