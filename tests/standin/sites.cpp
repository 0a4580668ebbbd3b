#include "tests/standin/sites.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <ostream>
#include <set>

#include "tests/standin/failures.h"
#include "tests/standin/text.h"

namespace standin {

namespace {

struct Call {
  std::string_view operation;
  const void *caller;
  const char *outcome;
  auto operator<=>(const Call &) const = default;
};

struct Trace {
  std::string_view category;
  std::string function;
  int line;
  std::string text;
  auto operator<=>(const Trace &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Call &call) {
  return stream << "call\t" << call.operation << '\t' << call.caller << '\t' << call.outcome;
}

std::ostream &operator<<(std::ostream &stream, const Trace &trace) {
  return stream << "trace\t" << trace.category << '\t' << trace.function << '\t' << trace.line << '\t'
                << escaped(trace.text);
}

/** Collects facts during the whole run and writes them when the last test has ended. */
class Facts : public testing::Environment {
 public:
  bool wanted() const { return path_ != nullptr; }

  void TearDown() override {
    if (!wanted()) return;
    std::ofstream file(path_);
    std::ranges::copy(calls, std::ostream_iterator<Call>(file, "\n"));
    std::ranges::copy(traces, std::ostream_iterator<Trace>(file, "\n"));
    if (!file.flush()) ADD_FAILURE() << path_ << " cannot be written; TESK_SITES names a file to write";
  }

  std::set<Call> calls;
  std::set<Trace> traces;

 private:
  const char *path_ = std::getenv("TESK_SITES");
};

Facts &facts() {
  static auto *const all = new Facts;  // GoogleTest owns and deletes it
  return *all;
}

[[maybe_unused]] const testing::Environment *const registered = testing::AddGlobalTestEnvironment(&facts());

void add_call(const Operation &operation, const char *outcome) {
  facts().calls.insert({operation.name, operation.caller, outcome});
}

}  // namespace

void note_call(const Operation &operation) {
  if (facts().wanted() && failure_of(operation.name) == nullptr) add_call(operation, "called");
}

void note_call(const Operation &operation, int64_t result) {
  if (!facts().wanted()) return;
  const Failure *failure = failure_of(operation.name);
  if (failure == nullptr)
    note_call(operation);
  else
    note_outcome(operation, !failure->is(result));
}

void note_outcome(const Operation &operation, bool succeeded) {
  if (facts().wanted()) add_call(operation, succeeded ? "succeeded" : "failed");
}

void note_trace(std::string_view category, const std::string &function, int line, const std::string &text) {
  if (!facts().wanted()) return;
  facts().traces.insert({category, function, line, text});
}

}  // namespace standin
