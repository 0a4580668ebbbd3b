#include "tests/standin/memory.h"

#include <gtest/gtest.h>

#include <unordered_map>

#include "tests/standin/sites.h"
#include "tests/standin/system.h"

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);
void __wrap_free(void *block);
}

namespace standin {

namespace {

struct Memory {
  std::unordered_map<void *, size_t> live;  // allocates its nodes with operator new, which is not counted
  unsigned until_failure = 0;
};

Memory the_memory;

/** Counts an allocation. @return whether it is the one that has to fail */
bool is_to_fail() { return the_memory.until_failure != 0 && --the_memory.until_failure == 0; }

void *counted(void *block, size_t size) {
  if (block != nullptr) the_memory.live.emplace(block, size);
  return block;
}

/** Allocates a block for the daemon, unless this allocation has to fail. */
template <class Allocate>
void *allocated(const Operation &operation, size_t size, Allocate allocate) {
  void *const block = is_to_fail() ? nullptr : counted(allocate(), size);
  note_outcome(operation, block != nullptr);
  return block;
}

}  // namespace

void fail_allocation(unsigned number) { the_memory.until_failure = number; }

bool is_allocation_to_fail() { return the_memory.until_failure != 0; }

bool is_live(const void *block) { return the_memory.live.contains(const_cast<void *>(block)); }

size_t live_blocks() { return the_memory.live.size(); }

void *give_to_daemon(size_t size) { return counted(__real_calloc(1, size), size); }

void release_kept(void *block) {
  if (the_memory.live.contains(block)) __wrap_free(block);
}

void reset_memory() { the_memory = {}; }

void verify_memory() {
  if (the_memory.until_failure != 0) ADD_FAILURE() << "the allocation that was to fail was never made";
  for (const auto &[block, size] : the_memory.live)
    ADD_FAILURE() << "the daemon did not free a block of " << size << " bytes";
  while (!the_memory.live.empty()) __wrap_free(the_memory.live.begin()->first);
}

}  // namespace standin

using namespace standin;

void *__wrap_malloc(size_t size) {
  if (!is_engaged()) return __real_malloc(size);
  return allocated("malloc", size, [=] { return __real_malloc(size); });
}

void *__wrap_calloc(size_t count, size_t size) {
  if (!is_engaged()) return __real_calloc(count, size);
  return allocated("calloc", count * size, [=] { return __real_calloc(count, size); });
}

void *__wrap_realloc(void *block, size_t size) {
  if (!is_engaged()) return __real_realloc(block, size);
  if (is_to_fail()) return nullptr;
  the_memory.live.erase(block);
  return counted(__real_realloc(block, size), size);
}

void __wrap_free(void *block) {
  if (is_engaged()) note_call("free");
  the_memory.live.erase(block);
  __real_free(block);
}
