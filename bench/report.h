// What was measured, as a table for people and a versioned document for programs.
#pragma once

#include <string>
#include <vector>

#include "bench/measurement.h"

namespace bench {

/// The rounds of one load; daemon[i] and bare[i] were measured next to each other.
struct Series {
  Load load;
  std::vector<Sample> daemon, bare;
};

struct Report {
  std::vector<Series> series;
  std::uint64_t resident_kib = 0;  ///< of the daemon, at rest, before the first load
  double first_frame_ms = 0;       ///< from the daemon's start to the first frame that it relayed
  int relay_processor = 0;
  int generator_processor = 0;
};

/// Median over the rounds of the daemon's processor time per frame, in bare relays of the same round.
double cpu_ratio(const Series &series);

std::string report_text(const Report &report);
std::string report_json(const Report &report);

}  // namespace bench
