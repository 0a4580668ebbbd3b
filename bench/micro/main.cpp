// Measures single operations of the daemon, in nanoseconds. With repetitions, the median is compared with the
// limit, otherwise each run. The exit status is 1 if a limit is missed.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "opal/tracekit.h"
#include "tesk/tesk_dbg.h"

namespace {

/// A trace history in a folder of its own, which records everything and prints nothing.
class History {
 public:
  History() {
    std::string folder = (std::filesystem::temp_directory_path() / "micro-XXXXXX").string();
    folder_ = mkdtemp(folder.data());
    setenv("OPAL_RUN_DIR", folder_.c_str(), 1);
    tracekit_dbg_disable(TESK_TRACE_PKT);
    tracekit_dbg_disable(TESK_TRACE_CTRL);
    is_kept_ = tracekit_hist_init_for_uuid(TESK_TRACE_UUID, 0x10000) == 0;
  }
  ~History() { std::filesystem::remove_all(folder_); }
  History(const History &) = delete;
  History &operator=(const History &) = delete;

  bool is_kept() const { return is_kept_; }

 private:
  std::filesystem::path folder_;
  bool is_kept_ = false;
};

struct Limit {
  std::string_view name;
  double most_ns;
};

constexpr Limit limits[] = {{"trace_line", 25}};

/// Prints the library's table, and the verdicts on the limits.
class JudgingReporter : public benchmark::ConsoleReporter {
 public:
  JudgingReporter() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      for (const Limit &limit : limits) {
        const bool counts = run.repetitions <= 1 || run.aggregate_name == "median";
        if (run.run_name.function_name == limit.name && counts) {
          judge(limit, run.GetAdjustedCPUTime());
        }
      }
    }
  }

  bool all_met() const { return all_met_; }

 private:
  void judge(const Limit &limit, double nanoseconds) {
    const bool met = nanoseconds <= limit.most_ns;
    all_met_ &= met;
    GetOutputStream() << "  " << limit.name << ": " << nanoseconds << " ns (limit " << limit.most_ns
                      << " ns) " << (met ? "met" : "MISSED") << "\n";
  }

  bool all_met_ = true;
};

}  // namespace

int main(int count, char **words) {
  benchmark::Initialize(&count, words);
  if (benchmark::ReportUnrecognizedArguments(count, words)) {
    return 2;
  }
  const History history;
  if (!history.is_kept()) {
    std::cerr << "micro_bench: no trace history can be kept in the folder for temporary files\n";
    return 1;
  }
  JudgingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return reporter.all_met() ? 0 : 1;
}
