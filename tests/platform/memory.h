/* The daemon's heap: every malloc, calloc, realloc and free of the daemon, counted.
 *
 * A test can make the n-th allocation from now fail, and asks how many blocks are live. When a test has
 * ended and the daemon's tables are emptied, not one block may be left; a block that is, fails it.
 * Memory that the platform hands over to be freed by the daemon is counted as well, but never fails. */
#pragma once

#include <cstddef>

namespace standin {

/** The n-th allocation from now, counted from 1, yields null; 0 takes that back. */
void fail_allocation(unsigned number);

/** Whether an allocation that is to fail was not asked for yet. */
bool is_allocation_to_fail();

/** Blocks that the daemon has not freed. */
size_t live_blocks();

/** Whether a pointer is the start of a block that the daemon holds. */
bool is_live(const void *block);

/** Memory that the daemon will free. @return zeroed, never null */
void *give_to_daemon(size_t size);

/** Frees a block that the platform took over from the daemon, if it is still live. */
void release_kept(void *block);

void reset_memory();
void verify_memory();

}  // namespace standin
