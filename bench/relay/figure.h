// What was measured: a figure has one series for each contender, a value for each round, and limits that a
// series is held to, absolute or as a ratio to another series of the same rounds.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace bench {

struct Series {
  std::string contender;
  std::vector<double> values;
  std::string refusal;  ///< why there are no values, or none that count
};

/// "The subject costs at most `most` times the reference", or, without a reference, at most `most`.
struct Limit {
  std::string subject, reference;
  double most = 0;
};

struct Figure {
  std::string name, unit;
  std::vector<Series> series;
  std::vector<Limit> limits;

  Series &of(const std::string &contender);
  const Series *find(const std::string &contender) const;
};

struct Verdict {
  double value = 0;
  bool met = false;
};

double median(std::vector<double> values);

/// Median over the rounds of the quotient of two series. Nothing when one has no values.
std::optional<double> ratio(const Figure &figure, const std::string &subject, const std::string &reference);

/// Nothing when there are no values to judge.
std::optional<Verdict> judge(const Figure &figure, const Limit &limit);

}  // namespace bench
