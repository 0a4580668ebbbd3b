// A store's file as a whole: opened and checked, made empty, copied. A file appears under its name only
// complete and synced, by a rename; a crash at any instant leaves the old file or the new one.
#pragma once

#include "host/opal/store.h"

namespace opal {

/// @param rcode receives 0, RCODE_NOT_FOUND, RCODE_CORRUPT for a file that is not an intact store, RCODE_IO
/// @return null on failure
Database open_store_file(const std::filesystem::path &file, rcode_t &rcode);

/// Makes an empty store, replacing what has the name.
rcode_t make_store_file(const std::filesystem::path &file, std::uint32_t key_limit,
                        std::uint32_t value_limit);

/// Replaces `destination` by a copy of an open store.
/// @param source_file name of the open store, which cannot be its own destination
rcode_t copy_store_file(sqlite3 *source, const std::filesystem::path &source_file,
                        const std::filesystem::path &destination);

}  // namespace opal
