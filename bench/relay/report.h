// Writes the figures as a table for people and as a versioned document for programs.
#pragma once

#include <string>
#include <vector>

#include "bench/relay/figure.h"

namespace bench {

struct Report {
  std::vector<Figure> figures;
  std::string conditions;  ///< rounds, processors, kernel
};

std::string report_text(const Report &report);
std::string report_json(const Report &report);

/// Whether every limit could be judged and was met, and no run was invalid.
bool all_met(const Report &report);

}  // namespace bench
