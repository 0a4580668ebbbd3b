// A key/value store in one SQLite file.
//
// The file is marked as a store (application id "OKVS", format 1) and holds three tables:
//
//   record(place, key, value)   records; place grows with every insertion and is never used twice
//   version(slot, word)         version words
//   size_limit(name, bytes)     "key" and "value": the largest accepted size of each
//
// Every change is one transaction with a rollback journal, synced, so that a crash leaves the file as it
// was before or after the change. A new file appears only when a complete, synced one is renamed into
// place. Handles on a replaced file continue to read it and refuse to write it.
//
// The cause of every failure is a result code (rcode_cause.h).
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

#include "host/opal/rcode_cause.h"
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

  static host::Result<Store> open(const std::filesystem::path &file);
  static host::Result<Store> create(const std::filesystem::path &file);

  host::Result<> set_key_limit(std::uint32_t bytes);
  host::Result<> set_value_limit(std::uint32_t bytes);
  host::Result<> set_version(std::uint32_t slot, std::uint32_t version);
  host::Result<std::uint32_t> version(std::uint32_t slot);

  host::Result<Blob> fetch(BlobView key);
  /// @param replace when false, fails with RCODE_EXISTS for a key that is present
  host::Result<> write(BlobView key, BlobView value, bool replace);
  host::Result<> erase(BlobView key);

  /// Moves the cursor in front of the first record.
  void rewind() { cursor_ = before_first; }
  /// Moves the cursor to the next record. @return its key; RCODE_NOT_FOUND at the end, and the cursor stays
  host::Result<Blob> next();

  /// Makes `destination` a copy of this store, atomically.
  host::Result<> copy_to(const std::filesystem::path &destination);

 private:
  static constexpr std::int64_t before_first = 0;
  Store(Database database, std::filesystem::path file)
      : database_(std::move(database)), file_(std::move(file)) {}
  host::Result<> set_limit(const char *name, std::uint32_t bytes);
  host::Result<std::uint32_t> limit(const char *name);

  Database database_;
  std::filesystem::path file_;
  std::int64_t cursor_ = before_first;
};

}  // namespace opal
