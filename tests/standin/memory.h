/* The daemon's heap: counts every malloc, calloc, realloc and free of the daemon.
 *
 * A test can make the n-th allocation from now fail, and can ask how many blocks are live. At its end, once
 * the daemon's tables are emptied, a block that is still live fails the test. Memory that the platform
 * allocates for the daemon to free is counted as well, but that allocation never fails. */
#pragma once

#include <cstddef>

namespace standin {

/** Makes the n-th allocation from now, counted from 1, return null; 0 cancels. */
void fail_allocation(unsigned number);

/** Whether an allocation that has to fail has not been made yet. */
bool is_allocation_to_fail();

/** Blocks that the daemon has not freed. */
size_t live_blocks();

/** Whether a pointer is the start of a live block. */
bool is_live(const void *block);

/** Allocates memory that the daemon will free. @return zeroed memory, never null */
void *give_to_daemon(size_t size);

/** Frees a block that the platform took over from the daemon, if it is still live. */
void release_kept(void *block);

void reset_memory();
void verify_memory();

}  // namespace standin
