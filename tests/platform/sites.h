/* Which places of the daemon the tests have proved.
 *
 * A trace site is proved when an expectation named the text that it traced. A call site is proved when
 * the operation that it calls was seen succeeding there and failing there; what counts as a failure of
 * each operation is the table of failures.cpp, and an operation that cannot fail only has to be called.
 *
 * With TESK_SITES set to a path, the program writes there when it ends what it has proved, one fact a
 * line, for tests/coverage to compare with the places that there are. The caller of an operation is the
 * address that it returns to; only the coverage build keeps every call at an address of its own. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace standin {

/** An operation by its name, and the place that called it: the stand-in's function that makes this. */
struct Operation {
  std::string_view name;  // a literal
  const void *caller;

  // Implicit on purpose: quiet("qbus_bind") in qbus_bind means the call that is being answered.
  Operation(const char *operation, const void *from = __builtin_return_address(0))  // NOLINT
      : name(operation), caller(from) {}
};

/** A call of an operation without a result. */
void note_call(const Operation &operation);

/** A call of an operation with its result; of a pointer, whether it is other than null. */
void note_call(const Operation &operation, int64_t result);

/** A call of an operation that is known to have succeeded or failed. */
void note_outcome(const Operation &operation, bool succeeded);

/** An expectation named what a trace site traced. */
void note_trace(std::string_view category, const std::string &function, int line, const std::string &text);

}  // namespace standin
