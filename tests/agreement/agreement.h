/* Checks that daemon and model agree over a whole sequence. */
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "tests/model/event.h"

namespace model {

/** Which states the events of a run reached, so that people can judge whether the run was worth its time. */
struct Reach {
  uint64_t sequences = 0;
  uint64_t events = 0;
  uint64_t refusals = 0;
  uint64_t failing_allocations = 0;
  uint64_t frames_written = 0;
  std::map<std::string, uint64_t> kinds;
  std::map<size_t, uint64_t> cin_vlans; /**< number of CIN VLANs -> events in that state */
  std::map<size_t, uint64_t> ports;     /**< number of port contexts -> events */
  std::map<size_t, uint64_t> addresses; /**< number of learnt addresses -> events */
};

std::ostream &operator<<(std::ostream &stream, const Reach &reach);

/** Plays a sequence on a fresh daemon and a fresh model.
 * @return where and how they first differ; nothing if they agree to the end */
std::optional<std::string> disagreement(const Sequence &sequence, Reach *reach = nullptr);

/** Fixture of the tests that failing runs print. */
class Agreement : public testing::Test {
 protected:
  static void follow(const Sequence &sequence) {
    const std::optional<std::string> found = disagreement(sequence);
    if (found) ADD_FAILURE() << *found;
  }
};

}  // namespace model
