/* Random sequences: daemon and model get the same events and must agree after each one. */
#include <rapidcheck.h>

#include <chrono>
#include <iostream>

#include "tests/agreement/agreement.h"
#include "tests/agreement/generate.h"

namespace model {

namespace {

constexpr int longest_sequence = 400;
constexpr std::chrono::seconds longest_shrinking{30};

/** The shortest failing sequence so far. */
struct Finding {
  Sequence sequence;
  std::string what;
  std::chrono::steady_clock::time_point since;
};

std::optional<Finding> the_finding;
Reach the_reach;

/* To end shrinking, every further attempt passes. */
bool has_shrunk_enough() {
  return the_finding && std::chrono::steady_clock::now() - the_finding->since > longest_shrinking;
}

void agree(const Sequence &sequence) {
  if (has_shrunk_enough()) return;
  const std::optional<std::string> found = disagreement(sequence, the_finding ? nullptr : &the_reach);
  if (!found) return;
  const auto since = the_finding ? the_finding->since : std::chrono::steady_clock::now();
  the_finding = Finding{sequence, *found, since};
  RC_FAIL(*found);
}

}  // namespace

TEST(Model, AgreesWithTheDaemon) {
  const bool agrees = rc::check([] { agree(*sequences(longest_sequence).as("sequence")); });
  std::cout << the_reach;
  if (the_finding)
    ADD_FAILURE() << the_finding->what << "\nThis test repeats it:\n\n" << the_finding->sequence;
  else
    EXPECT_TRUE(agrees);
}

}  // namespace model
