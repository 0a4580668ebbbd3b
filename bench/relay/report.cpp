#include "bench/relay/report.h"

#include <fmt/core.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace bench {
namespace {

using Json = nlohmann::ordered_json;

std::string number(double value) {
  return value < 10    ? fmt::format("{:.2f}", value)
         : value < 100 ? fmt::format("{:.1f}", value)
                       : fmt::format("{:.0f}", value);
}

std::string limit_text(const Figure &figure, const Limit &limit) {
  const auto verdict = judge(figure, limit);
  const std::string against = limit.reference.empty() ? "" : " to " + limit.reference;
  if (!verdict) {
    return fmt::format("{}{}: not measured (limit {:.2f})", limit.subject, against, limit.most);
  }
  return fmt::format("{}{} {} (limit {}) {}", limit.subject, against, number(verdict->value),
                     number(limit.most), verdict->met ? "met" : "MISSED");
}

std::string series_row(const Figure &figure, const Series &series) {
  if (!series.refusal.empty()) {
    return fmt::format("  {:<14} not measured: {}\n", series.contender, series.refusal);
  }
  const auto [low, high] = std::minmax_element(series.values.begin(), series.values.end());
  const auto to_first = ratio(figure, series.contender, figure.series.front().contender);
  const bool first = &series == &figure.series.front();
  return fmt::format("  {:<14} {:>10} {:>10} {:>10} {:>7}\n", series.contender, number(median(series.values)),
                     number(*low), number(*high), first || !to_first ? "" : fmt::format("{:.2f}", *to_first));
}

Json series_json(const Series &series) {
  Json json{{"contender", series.contender}};
  if (!series.refusal.empty()) {
    json["not_measured"] = series.refusal;
    return json;
  }
  json["median"] = median(series.values);
  json["minimum"] = *std::min_element(series.values.begin(), series.values.end());
  json["maximum"] = *std::max_element(series.values.begin(), series.values.end());
  json["values"] = series.values;
  return json;
}

Json limit_json(const Figure &figure, const Limit &limit) {
  const auto verdict = judge(figure, limit);
  Json json{{"subject", limit.subject}, {"reference", limit.reference}, {"limit", limit.most}};
  json["value"] = verdict ? Json(verdict->value) : Json();
  json["met"] = verdict ? Json(verdict->met) : Json();
  return json;
}

}  // namespace

std::string report_text(const Report &report) {
  std::string text;
  for (const Figure &figure : report.figures) {
    text += fmt::format("{}, {}\n  {:<14} {:>10} {:>10} {:>10} {:>7}\n", figure.name, figure.unit, "",
                        "median", "minimum", "maximum", "ratio");
    for (const Series &series : figure.series) {
      text += series_row(figure, series);
    }
    for (const Limit &limit : figure.limits) {
      text += "    " + limit_text(figure, limit) + "\n";
    }
  }
  return text + report.conditions + "\n";
}

std::string report_json(const Report &report) {
  Json json{{"version", 2}, {"conditions", report.conditions}, {"figures", Json::array()}};
  for (const Figure &figure : report.figures) {
    Json one{
        {"name", figure.name}, {"unit", figure.unit}, {"series", Json::array()}, {"limits", Json::array()}};
    for (const Series &series : figure.series) {
      one["series"].push_back(series_json(series));
    }
    for (const Limit &limit : figure.limits) {
      one["limits"].push_back(limit_json(figure, limit));
    }
    json["figures"].push_back(std::move(one));
  }
  return json.dump(2) + "\n";
}

bool all_met(const Report &report) {
  return std::all_of(report.figures.begin(), report.figures.end(), [](const Figure &figure) {
    return std::all_of(figure.limits.begin(), figure.limits.end(), [&](const Limit &limit) {
      const auto verdict = judge(figure, limit);
      return verdict && verdict->met;
    });
  });
}

}  // namespace bench
