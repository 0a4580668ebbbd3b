// The file of a store as a whole: open and check it, make an empty one, copy it. A complete, synced file
// is renamed to its name; a crash at any instant leaves the old file or the new one.
#pragma once

#include "host/opal/store.h"

namespace opal {

/// RCODE_NOT_FOUND: there is no such file. RCODE_CORRUPT: it is not an intact store. RCODE_IO
host::Result<Database> open_store_file(const std::filesystem::path &file);

/// Makes an empty store and replaces any file of that name.
host::Result<> make_store_file(const std::filesystem::path &file, std::uint32_t key_limit,
                               std::uint32_t value_limit);

/// Replaces `destination` by a copy of an open store.
/// @param source_file name of the open store, which cannot be its own destination
host::Result<> copy_store_file(sqlite3 *source, const std::filesystem::path &source_file,
                               const std::filesystem::path &destination);

}  // namespace opal
