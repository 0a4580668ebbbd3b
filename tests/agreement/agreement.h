/* Whether daemon and model agree over a whole sequence. */
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "tests/model/event.h"

namespace model {

/** What the events of a run reached: for people to judge whether a run was worth its time. */
struct Reach {
  uint64_t sequences = 0;
  uint64_t events = 0;
  uint64_t refusals = 0;
  uint64_t failing_allocations = 0;
  uint64_t frames_written = 0;
  std::map<std::string, uint64_t> kinds;
  std::map<size_t, uint64_t> cin_vlans; /**< events at this many CIN VLANs */
  std::map<size_t, uint64_t> ports;     /**< events at this many port contexts */
  std::map<size_t, uint64_t> addresses; /**< events at this many learnt addresses */
};

std::ostream &operator<<(std::ostream &stream, const Reach &reach);

/** Plays a sequence on a fresh daemon and a fresh model.
 * @return where the two part and how, none when they agree to the end */
std::optional<std::string> disagreement(const Sequence &sequence, Reach *reach = nullptr);

/** The fixture of a test that a failing run printed. */
class Agreement : public testing::Test {
 protected:
  static void follow(const Sequence &sequence) {
    const std::optional<std::string> found = disagreement(sequence);
    if (found) ADD_FAILURE() << *found;
  }
};

}  // namespace model
