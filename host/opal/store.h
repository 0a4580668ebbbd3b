// A key/value store in one SQLite file.
//
// The file marks itself as a store (application id "OKVS", format 1) and holds three tables:
//
//   record(place, key, value)   records; place grows with every insertion and is never used twice
//   version(slot, word)         version words
//   size_limit(name, bytes)     "key" and "value": the largest that are accepted
//
// Every change is one transaction with a rollback journal, synced, so that a crash leaves the file as it
// was before or after. Whole files appear only by renaming a complete, synced one into place; handles on
// the file that was replaced go on reading it and refuse to write it.
//
// A URI is "file://" and an absolute path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "opal/kvs.h"

struct sqlite3;
struct sqlite3_stmt;

namespace opal {

using Blob = std::vector<std::byte>;
using BlobView = std::span<const std::byte>;

/// @return the path that a store's URI names; nothing for any other text
std::optional<std::filesystem::path> store_path(const char *uri);

struct CloseDatabase {
  void operator()(sqlite3 *database) const;
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

class Store {
 public:
  static constexpr std::uint32_t default_key_limit = 64;
  static constexpr std::uint32_t default_value_limit = 1024;

  static std::optional<Store> open(const std::filesystem::path &file, rcode_t &rcode);
  static std::optional<Store> create(const std::filesystem::path &file, rcode_t &rcode);

  rcode_t set_key_limit(std::uint32_t bytes);
  rcode_t set_value_limit(std::uint32_t bytes);
  rcode_t set_version(std::uint32_t slot, std::uint32_t version);
  rcode_t version(std::uint32_t slot, std::uint32_t &version);

  rcode_t fetch(BlobView key, Blob &value);
  /// @param replace false refuses a key that is present with RCODE_EXISTS
  rcode_t write(BlobView key, BlobView value, bool replace);
  rcode_t erase(BlobView key);

  /// Moves the cursor in front of the first record.
  void rewind() { cursor_ = before_first; }
  /// Moves the cursor to the next record. @return RCODE_NOT_FOUND at the end; the cursor then stays
  rcode_t next(Blob &key);

  /// Makes `destination` a copy of this store, at once and whole.
  rcode_t copy_to(const std::filesystem::path &destination);

 private:
  static constexpr std::int64_t before_first = 0;
  Store(Database database, std::filesystem::path file)
      : database_(std::move(database)), file_(std::move(file)) {}
  rcode_t set_limit(const char *name, std::uint32_t bytes);
  rcode_t limit(const char *name, std::uint32_t &bytes);

  Database database_;
  std::filesystem::path file_;
  std::int64_t cursor_ = before_first;
};

}  // namespace opal
