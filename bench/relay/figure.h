// The results of measurements. A figure has one series for each contender, with one value for each round. It
// also has limits for its series: absolute ones, or ratios to another series of the same rounds.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace bench {

struct Series {
  std::string contender;
  std::vector<double> values;
  std::string refusal;  ///< why there are no values, or no valid ones
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

/// Median over the rounds of the quotient of two series. Nothing if one has no values.
std::optional<double> ratio(const Figure &figure, const std::string &subject, const std::string &reference);

/// The verdict on a limit; nothing if there are no values to judge.
std::optional<Verdict> judge(const Figure &figure, const Limit &limit);

}  // namespace bench
