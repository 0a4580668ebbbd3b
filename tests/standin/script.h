/* Scripts: what the platform answers.
 *
 * Every operation succeeds with a sensible value unless a test says otherwise:
 *
 *     when("qbus_bind").returns(-1).with_errno(EADDRINUSE);   from now on
 *     when("qbus_options_set").call(3).returns(-1);           only the third call from now
 *     when("ltlsvc_lib_ifidx_to_di").gives(17);               its output argument
 *
 * The result is what the operation returns (0 for a null pointer). `gives` is its output: the result code of
 * a kvs operation, the destination index, the token of a request. A later script takes precedence over an
 * earlier one. A script that no call ever uses fails the test, so that a misspelt name does not pass. */
#pragma once

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "tests/standin/record.h"
#include "tests/standin/sites.h"
#include "tests/standin/text.h"

namespace standin {

/** Scripted behaviour of one operation. */
class Script {
 public:
  /** Limits the script to the n-th call from now, counted from 1. */
  Script &call(unsigned number);
  Script &once() { return call(1); }

  Script &returns(int64_t result);
  Script &with_errno(int number);
  Script &gives(int64_t output);

 private:
  friend Script &when(std::string operation);
  friend class Answer;
  friend Script *matching_script(std::string_view operation);
  friend void verify_scripts();

  std::string operation_;
  unsigned calls_before_ = 0;
  unsigned number_ = 0;
  bool was_met_ = false;
  int errno_ = 0;
  std::optional<int64_t> result_;
  std::optional<int64_t> output_;
};

/** Starts a script. */
Script &when(std::string operation);

/** Counts a call and finds the script for it. @return null if there is none */
Script *matching_script(std::string_view operation);

/** The answer to one call. It records which place made the call and what the call returned. */
class Answer {
 public:
  Answer(const Operation &operation, const Script *script) : operation_(operation), script_(script) {}
  ~Answer() { note_call(operation_); }
  Answer(const Answer &) = delete;
  Answer &operator=(const Answer &) = delete;

  /** Whether the test scripted this call's result. */
  bool has_result() const { return script_ != nullptr && script_->result_.has_value(); }

  /** The scripted result, or else `otherwise`. Sets errno if that is scripted. */
  template <class Result>
  Result returns(Result otherwise) const {
    const Result result = has_result() ? static_cast<Result>(*script_->result_) : otherwise;
    note_call(operation_, static_cast<int64_t>(result));
    if (script_ != nullptr && script_->errno_ != 0) errno = script_->errno_;
    return result;
  }

  /** Null if a result is scripted, or else `otherwise`. */
  template <class Result>
  Result *returns_pointer(Result *otherwise) const {
    Result *const pointer = has_result() ? nullptr : otherwise;
    note_call(operation_, pointer != nullptr);
    return pointer;
  }

  /** The scripted output, or else `otherwise`. */
  template <class Output>
  Output gives(Output otherwise) const {
    return script_ != nullptr && script_->output_ ? static_cast<Output>(*script_->output_) : otherwise;
  }

 private:
  Operation operation_;
  const Script *script_;
};

/** Answers an operation that leaves no line in the record. */
inline Answer quiet(const Operation &operation) { return Answer(operation, matching_script(operation.name)); }

/** Answers an operation that is recorded with its arguments. */
template <class... Arguments>
Answer call(const Operation &operation, const Arguments &...arguments) {
  std::string list;
  ((list += (list.empty() ? "" : ", ") + shown(arguments)), ...);
  record(Line(std::string(operation.name) + "(" + list + ")"));
  return quiet(operation);
}

void reset_scripts();
void verify_scripts();

}  // namespace standin
