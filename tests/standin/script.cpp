#include "tests/standin/script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>

#include "tests/standin/failures.h"

namespace standin {

namespace {

struct Scripts {
  std::deque<Script> all;  // references to the elements stay valid
  std::map<std::string, unsigned, std::less<>> calls;
};

Scripts the_scripts;

}  // namespace

Script &Script::call(unsigned number) {
  number_ = number;
  return *this;
}

Script &Script::returns(int64_t result) {
  result_ = result;
  return *this;
}

Script &Script::with_errno(int number) {
  errno_ = number;
  return *this;
}

Script &Script::gives(int64_t output) {
  output_ = output;
  return *this;
}

Script &when(std::string operation) {
  Script &script = the_scripts.all.emplace_back();
  script.calls_before_ = the_scripts.calls[operation];
  script.operation_ = std::move(operation);
  return script;
}

Script *matching_script(std::string_view operation) {
  if (Script *failure = failing(operation); failure != nullptr) return failure;
  if (the_scripts.all.empty()) return nullptr;
  auto counter = the_scripts.calls.find(operation);
  if (counter == the_scripts.calls.end()) return nullptr;
  const unsigned number = ++counter->second;
  const auto is_met = [&](const Script &script) {
    return script.operation_ == operation &&
           (script.number_ == 0 || script.calls_before_ + script.number_ == number);
  };
  const auto latest = std::find_if(the_scripts.all.rbegin(), the_scripts.all.rend(), is_met);
  if (latest == the_scripts.all.rend()) return nullptr;
  latest->was_met_ = true;
  return &*latest;
}

void reset_scripts() { the_scripts = {}; }

void verify_scripts() {
  for (const Script &script : the_scripts.all) {
    if (!script.was_met_)
      ADD_FAILURE() << "the test scripted " << script.operation_ << ", which was never called";
  }
}

}  // namespace standin
