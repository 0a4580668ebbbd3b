/* Which places of the daemon the tests have proved.
 *
 * A trace site is proved when an expectation names the text that it traced. A call site is proved when the
 * operation was seen to succeed there and to fail there. The table in failures.cpp defines the failure of
 * each operation; an operation that cannot fail only has to be called.
 *
 * If TESK_SITES is set to a path, the program writes what it has proved to that file when it ends, one fact
 * per line. tests/coverage compares the facts with all places of the sources. The caller of an operation is
 * its return address; only the coverage build keeps each call at an address of its own. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace standin {

/** An operation by name, and the place that called the stand-in's function in which this object is made. */
struct Operation {
  std::string_view name;  // a literal
  const void *caller;

  // Implicit on purpose: quiet("qbus_bind") in qbus_bind refers to the call that is being answered.
  Operation(const char *operation, const void *from = __builtin_return_address(0))  // NOLINT
      : name(operation), caller(from) {}
};

/** Notes a call of an operation without a result. */
void note_call(const Operation &operation);

/** Notes a call of an operation with its result; for a pointer, whether it is not null. */
void note_call(const Operation &operation, int64_t result);

/** Notes a call of an operation that is known to have succeeded or failed. */
void note_outcome(const Operation &operation, bool succeeded);

/** Notes that an expectation named what a trace site traced. */
void note_trace(std::string_view category, const std::string &function, int line, const std::string &text);

}  // namespace standin
