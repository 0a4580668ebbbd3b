/* What it means for each operation of the platform, and for each system call, to fail.
 *
 * A failure is what a real platform may answer: a service that does not reply, a store that cannot be
 * written, a full queue, a device that is gone. A test names an operation and scripts its failure, or lets
 * the n-th call fail, whichever operation it is:
 *
 *     script_failure("kvs_store").once();
 *     fail_call(7);
 *
 * The same table tells which calls count as failed where the tests have to show each call failing.
 *
 * Every operation that a script can govern is either in this table or among those that have no failure. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace standin {

class Script;

struct Failure {
  std::string_view operation;
  int64_t result;                /**< what it returns; 0 for a null pointer */
  int error_number = 0;          /**< what it leaves in errno */
  std::optional<int64_t> output; /**< its output argument, as `gives` of a script */

  /** Whether an operation with this failure failed when it returned `returned`: where failing is 0, with 0;
   * where it is -1, with anything negative; elsewhere with anything but 0. */
  bool is(int64_t returned) const;
};

/** Every operation that can fail, with how it does. */
std::span<const Failure> failures();

/** @return null for an operation without a failure */
const Failure *failure_of(std::string_view operation);

/** Scripts an operation's failure, as `when` does; aborts the test program for one that has none. */
Script &script_failure(std::string_view operation);

/** The n-th call from now, counted from 1, of operations that can fail, fails; 0 takes that back. */
void fail_call(unsigned number);

/** The next call of an operation fails, if one comes; a script would have to be met. */
void fail_next(std::string_view operation);

/** The operation that failed because of fail_call or fail_next; empty when that call was not made yet. */
const std::string &failed_operation();

/** Counts a call. @return the script of its failure when it is the one to fail, else null */
Script *failing(std::string_view operation);

void reset_failures();

}  // namespace standin
