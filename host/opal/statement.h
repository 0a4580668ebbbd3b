// One SQL statement, run once: bind values, step through its rows.
#pragma once

#include <sqlite3.h>

#include <memory>

#include "host/opal/store.h"

namespace opal {

/// Converts an SQLite result; the cause of a failure is a result code.
host::Result<> result_of_sqlite(int result);

class Statement {
 public:
  Statement(sqlite3 *database, const char *text) {
    sqlite3_stmt *statement = nullptr;
    result_ = sqlite3_prepare_v2(database, text, -1, &statement, nullptr);
    statement_.reset(statement);
  }

  Statement &bind(std::int64_t number) {
    if (statement_) sqlite3_bind_int64(statement_.get(), next_++, number);
    return *this;
  }
  /// `bytes` must live until the last step.
  Statement &bind(BlobView bytes) {
    const void *start = bytes.empty() ? "" : static_cast<const void *>(bytes.data());
    if (statement_) sqlite3_bind_blob64(statement_.get(), next_++, start, bytes.size(), SQLITE_STATIC);
    return *this;
  }
  Statement &bind(const char *text) {
    if (statement_) sqlite3_bind_text(statement_.get(), next_++, text, -1, SQLITE_STATIC);
    return *this;
  }

  /// @return true when there is a row
  bool step() {
    if (statement_) result_ = sqlite3_step(statement_.get());
    return result_ == SQLITE_ROW;
  }
  /// Runs a statement that yields no rows.
  host::Result<> run() {
    step();
    return result_of_sqlite(result_);
  }
  /// The failure of a look-up whose `step` returned false: RCODE_NOT_FOUND when it found no row.
  host::Failed missing() const {
    return result_ == SQLITE_DONE ? refused(RCODE_NOT_FOUND) : failed(result_of_sqlite(result_));
  }

  std::int64_t number(int column) const { return sqlite3_column_int64(statement_.get(), column); }
  Blob blob(int column) const {
    const auto *start = static_cast<const std::byte *>(sqlite3_column_blob(statement_.get(), column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
    return start != nullptr ? Blob(start, start + size) : Blob();
  }
  std::string text(int column) const {
    const Blob bytes = blob(column);
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
  }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  int result_ = SQLITE_ERROR;
  int next_ = 1;
};

}  // namespace opal
