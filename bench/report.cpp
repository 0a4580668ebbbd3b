#include "bench/report.h"

#include <fmt/core.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace bench {
namespace {

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double median_of(const std::vector<Sample> &samples, double Sample::*member) {
  std::vector<double> values;
  for (const Sample &sample : samples) {
    values.push_back(sample.*member);
  }
  return median(std::move(values));
}

std::uint64_t lost(const std::vector<Sample> &samples) {
  std::uint64_t sum = 0;
  for (const Sample &sample : samples) {
    sum += sample.lost;
  }
  return sum;
}

std::string relay_row(const Load &load, const char *relay, const std::vector<Sample> &samples,
                      const std::string &ratio) {
  return fmt::format("{:<9} {:>5}  {:>6}  {:<6} {:>11.0f}  {:>12.0f}  {:>11.3f}  {:>6}  {}\n",
                     direction_name(load.direction), load.frame_bytes, load.window, relay,
                     median_of(samples, &Sample::frames_per_second),
                     median_of(samples, &Sample::cpu_ns_per_frame),
                     median_of(samples, &Sample::switches_per_frame), lost(samples), ratio);
}

nlohmann::ordered_json relay_json(const std::vector<Sample> &samples) {
  return {{"frames_per_second", median_of(samples, &Sample::frames_per_second)},
          {"cpu_ns_per_frame", median_of(samples, &Sample::cpu_ns_per_frame)},
          {"waits_per_frame", median_of(samples, &Sample::switches_per_frame)},
          {"lost", lost(samples)}};
}

}  // namespace

double cpu_ratio(const Series &series) {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < series.daemon.size(); ++round) {
    ratios.push_back(series.daemon[round].cpu_ns_per_frame / series.bare[round].cpu_ns_per_frame);
  }
  return median(std::move(ratios));
}

std::string report_text(const Report &report) {
  std::string text =
      fmt::format("{:<9} {:>5}  {:>6}  {:<6} {:>11}  {:>12}  {:>11}  {:>6}  {}\n", "direction", "bytes",
                  "window", "relay", "frames/s", "CPU ns/frame", "waits/frame", "lost", "CPU ratio");
  for (const Series &series : report.series) {
    text += relay_row(series.load, "bare", series.bare, "");
    text += relay_row(series.load, "daemon", series.daemon, fmt::format("{:>9.2f}", cpu_ratio(series)));
  }
  text += fmt::format("medians of {} rounds of {} frames; relay on processor {}, generator on {}\n",
                      report.series.front().daemon.size(), report.series.front().load.frames,
                      report.relay_processor, report.generator_processor);
  text += fmt::format("daemon at rest: {} KiB resident; start to first relayed frame: {:.0f} ms\n",
                      report.resident_kib, report.first_frame_ms);
  return text;
}

std::string report_json(const Report &report) {
  nlohmann::ordered_json json{{"version", 1},
                              {"resident_kib", report.resident_kib},
                              {"first_frame_ms", report.first_frame_ms},
                              {"relay_processor", report.relay_processor},
                              {"generator_processor", report.generator_processor},
                              {"loads", nlohmann::ordered_json::array()}};
  for (const Series &series : report.series) {
    json["loads"].push_back({{"direction", direction_name(series.load.direction)},
                             {"frame_bytes", series.load.frame_bytes},
                             {"rounds", series.daemon.size()},
                             {"frames_per_round", series.load.frames},
                             {"window", series.load.window},
                             {"bare", relay_json(series.bare)},
                             {"daemon", relay_json(series.daemon)},
                             {"cpu_ratio", cpu_ratio(series)}});
  }
  return json.dump(2) + "\n";
}

}  // namespace bench
