#include "bench/relay/figure.h"

#include <algorithm>

namespace bench {

Series &Figure::of(const std::string &contender) {
  for (Series &one : series) {
    if (one.contender == contender) {
      return one;
    }
  }
  return series.emplace_back(Series{contender, {}, ""});
}

const Series *Figure::find(const std::string &contender) const {
  const auto found = std::find_if(series.begin(), series.end(),
                                  [&](const Series &one) { return one.contender == contender; });
  return found == series.end() || found->values.empty() || !found->refusal.empty() ? nullptr : &*found;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::optional<double> ratio(const Figure &figure, const std::string &subject, const std::string &reference) {
  const Series *one = figure.find(subject);
  const Series *other = figure.find(reference);
  if (one == nullptr || other == nullptr) {
    return std::nullopt;
  }
  std::vector<double> ratios;
  for (std::size_t round = 0; round < std::min(one->values.size(), other->values.size()); ++round) {
    ratios.push_back(one->values[round] / other->values[round]);
  }
  return median(std::move(ratios));
}

std::optional<Verdict> judge(const Figure &figure, const Limit &limit) {
  if (limit.reference.empty()) {
    const Series *subject = figure.find(limit.subject);
    if (subject == nullptr) {
      return std::nullopt;
    }
    const double value = median(subject->values);
    return Verdict{value, value <= limit.most};
  }
  const auto value = ratio(figure, limit.subject, limit.reference);
  return value ? std::optional(Verdict{*value, *value <= limit.most}) : std::nullopt;
}

}  // namespace bench
