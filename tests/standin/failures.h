/* The failure of each operation of the platform and of each system call.
 *
 * A failure is what a real platform may answer: a service does not reply, a store cannot be written, a queue
 * is full, a device is gone. A test names an operation and scripts its failure, or makes the n-th call fail,
 * whatever its operation:
 *
 *     script_failure("kvs_store").once();
 *     fail_call(7);
 *
 * The same table defines which calls count as failed when coverage requires that each call was seen to fail.
 *
 * Every operation that a script can control is in this table or in the list of those that cannot fail. */
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
  std::optional<int64_t> output; /**< its output argument, like `gives` of a script */

  /** Whether `returned` means that the operation failed. If its failure is 0, only 0 does. If its failure is
   * -1, every negative value does. Otherwise every value but 0 does. */
  bool is(int64_t returned) const;
};

/** Every operation that can fail, with its failure. */
std::span<const Failure> failures();

/** @return null for an operation that cannot fail */
const Failure *failure_of(std::string_view operation);

/** Scripts an operation's failure, as `when` does. Aborts the test program if the operation cannot fail. */
Script &script_failure(std::string_view operation);

/** Makes the n-th call from now fail. Only operations that can fail count, from 1; 0 cancels. */
void fail_call(unsigned number);

/** Makes the next call of an operation fail. Unlike with a script, the call need not come. */
void fail_next(std::string_view operation);

/** The operation that fail_call or fail_next made fail; empty while that call has not come. */
const std::string &failed_operation();

/** Counts a call. @return the script of its failure if this call has to fail, else null */
Script *failing(std::string_view operation);

void reset_failures();

}  // namespace standin
