// Measures what finding and learning an address costs, for every pattern of addresses and from few to many.
//
// A limit is a ratio between figures of the same run, so that it holds on any machine: the ratio to finding
// among twenty addresses, or to learning the first tenth. All counts take turns in each round. A figure is
// the minimum over its rounds, because disturbances of the machine only add time.

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tesk/tesk_fib.h"
#include "tests/standin/address_patterns.h"

namespace {

using Clock = std::chrono::steady_clock;
using address_pattern::Mac;

constexpr std::uint32_t unknown = 1 << 20;  ///< addresses from this number on are never learnt
constexpr std::size_t asked = 1024;         ///< number of different addresses to look up
constexpr int turns = 10;                   ///< number of look-ups of each
constexpr std::uint32_t learnt_together = 20'000;

/// More addresses than these do not fit into a cache close to the processor.
constexpr std::uint32_t many_to_find = 1000, many_to_learn = 10'000;
constexpr double find_limit = 2, find_limit_of_many = 4, learn_limit = 1.5, learn_limit_of_many = 2;

/// With fewer addresses, a tenth measures the allocator more than the table.
constexpr std::uint32_t least_to_learn = 10'000;
constexpr double no_limit = std::numeric_limits<double>::infinity();

tesk_port_t port;

/// Nanoseconds per address, one value for each count.
struct Row {
  std::vector<double> known, unknown, first_tenth, last_tenth;
};

std::vector<Mac> addresses(const AddressPattern &pattern, std::uint32_t first, std::uint32_t count) {
  std::vector<Mac> macs;
  for (std::uint32_t number = 0; number < count; ++number) {
    macs.push_back(pattern.address(first + number));
  }
  return macs;
}

/// Chooses addresses far apart, so that none is in a cache because of its neighbour.
std::vector<Mac> scattered(const std::vector<Mac> &macs) {
  std::vector<Mac> chosen;
  for (std::uint32_t i = 0; i < asked; ++i) {
    chosen.push_back(macs[i * 2654435761U % macs.size()]);
  }
  return chosen;
}

double nanoseconds(const std::function<void()> &work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

double find_all(const std::vector<Mac> &macs) {
  const double time = nanoseconds([&] {
    for (int turn = 0; turn < turns; ++turn) {
      for (const Mac &mac : macs) {
        asm volatile("" : : "r"(tesk_fib_hash_lookup(mac.data(), 4095)));
      }
    }
  });
  return time / static_cast<double>(turns * macs.size());
}

double learn(const std::vector<Mac> &macs, std::size_t from, std::size_t to) {
  return nanoseconds([&] {
    for (std::size_t i = from; i < to; ++i) {
      (void)tesk_fib_hash_insert(macs[i].data(), &port, 4095);
    }
  });
}

void forget() { (void)tesk_fib_purge_port_entries(&port); }

void keep_least(double &least, double value) { least = std::min(least, value); }

/// Learns few addresses often enough for the clock to measure it.
void measure_learning(Row &row, std::size_t column, const std::vector<Mac> &macs) {
  const std::size_t tenth = macs.size() / 10;
  double first = 0, last = 0;
  const auto times = std::max<std::size_t>(1, learnt_together / macs.size());
  for (std::size_t time = 0; time < times; ++time) {
    forget();
    first += learn(macs, 0, tenth);
    (void)learn(macs, tenth, macs.size() - tenth);
    last += learn(macs, macs.size() - tenth, macs.size());
  }
  keep_least(row.first_tenth[column], first / static_cast<double>(times * tenth));
  keep_least(row.last_tenth[column], last / static_cast<double>(times * tenth));
}

void measure(Row &row, std::size_t column, const AddressPattern &pattern) {
  const std::uint32_t count = address_counts[column];
  const std::vector<Mac> macs = addresses(pattern, 0, count);
  measure_learning(row, column, macs);
  keep_least(row.known[column], find_all(scattered(macs)));
  keep_least(row.unknown[column], find_all(scattered(addresses(pattern, unknown, count))));
  forget();
}

Row measured(const AddressPattern &pattern, int rounds) {
  const std::vector<double> none(std::size(address_counts), std::numeric_limits<double>::max());
  Row row{none, none, none, none};
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t column = 0; column < std::size(address_counts); ++column) {
      measure(row, column, pattern);
    }
  }
  return row;
}

/// One line of the table: a figure for each count, and a mark on those that miss their limit.
class Line {
 public:
  explicit Line(std::string what) : what_(std::move(what)) {}

  void add(double value, double ratio, double limit) {
    values_.push_back(value);
    ratios_.push_back(ratio);
    missed_ |= ratio > limit;
  }
  bool is_missed() const { return missed_; }

  void print(const char *pattern) const {
    fmt::print("{:<13} {:<12}", pattern, what_);
    for (std::size_t i = 0; i < values_.size(); ++i) {
      fmt::print(" {:6.1f} {:4.2f}", values_[i], ratios_[i]);
    }
    fmt::print("  {}\n", missed_ ? "MISSED" : "met");
  }

  nlohmann::json json(const char *pattern) const {
    return {{"pattern", pattern}, {"figure", what_}, {"ns", values_}, {"ratios", ratios_}, {"met", !missed_}};
  }

 private:
  std::string what_;
  std::vector<double> values_, ratios_;
  bool missed_ = false;
};

Line finding(const char *what, const std::vector<double> &values) {
  Line line(what);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double limit = address_counts[i] <= many_to_find ? find_limit : find_limit_of_many;
    line.add(values[i], values[i] / values[0], limit);
  }
  return line;
}

Line learning(const Row &row) {
  Line line("learn");
  for (std::size_t i = 0; i < row.last_tenth.size(); ++i) {
    const double limit = address_counts[i] < least_to_learn   ? no_limit
                         : address_counts[i] <= many_to_learn ? learn_limit
                                                              : learn_limit_of_many;
    line.add(row.last_tenth[i], row.last_tenth[i] / row.first_tenth[i], limit);
  }
  return line;
}

void print_head() {
  fmt::print("{:<26}", "ns, ratio");
  for (const std::uint32_t count : address_counts) {
    fmt::print(" {:>11}", count);
  }
  fmt::print("\n");
}

/// @return whether all limits were met
bool run(int rounds, const std::string &file) {
  nlohmann::json lines = nlohmann::json::array();
  bool all_met = true;
  print_head();
  for (const AddressPattern &pattern : address_patterns) {
    const Row row = measured(pattern, rounds);
    for (const Line &line :
         {finding("find known", row.known), finding("find unknown", row.unknown), learning(row)}) {
      line.print(pattern.name);
      lines.push_back(line.json(pattern.name));
      all_met &= !line.is_missed();
    }
  }
  if (!file.empty()) {
    std::ofstream(file) << nlohmann::json{{"counts", address_counts}, {"lines", lines}}.dump(2) << "\n";
  }
  return all_met;
}

}  // namespace

int main(int count, char **words) {
  bool quick = false;
  std::string file;
  CLI::App app{"Measure finding and learning addresses, for every pattern of addresses."};
  try {
    app.add_flag("--quick", quick, "Run five rounds");
    app.add_option("--json", file, "Write a document for programs to this file");
    app.parse(count, words);
    return run(quick ? 5 : 15, file) ? 0 : 1;
  } catch (const CLI::Success &shown) {
    return app.exit(shown);
  } catch (const CLI::ParseError &error) {
    std::cerr << "address_bench: " << error.what() << "; --help shows what is accepted.\n";
    return 2;
  } catch (const std::exception &failure) {
    std::cerr << "address_bench: " << failure.what() << "\n";
    return 1;
  }
}
