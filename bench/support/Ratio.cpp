#include "support/Ratio.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace zorlan::bench {
namespace {

// Records the seconds per iteration of every plain (non-aggregate) run, each
// repetition, while still printing the usual console table.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  // No colours: escape codes would otherwise precede the ratio lines.
  RecordingReporter() : ConsoleReporter(OO_Tabular) {}

  std::map<std::string, std::vector<double>> secondsPerIteration;

  // The median over a benchmark's repetitions (the upper one of an even
  // count), so that one run disturbed by the machine does not set the ratio;
  // absent (0) when it did not run.
  double median(const std::string& name) const {
    auto found = secondsPerIteration.find(name);
    if (found == secondsPerIteration.end() || found->second.empty()) return 0;
    std::vector<double> runs = found->second;
    std::nth_element(runs.begin(), runs.begin() + runs.size() / 2, runs.end());
    return runs[runs.size() / 2];
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0 && !run.error_occurred) {
        secondsPerIteration[run.benchmark_name()].push_back(run.real_accumulated_time /
                                                            static_cast<double>(run.iterations));
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int runBenchmarks(int argc, char** argv, const std::vector<Ratio>& ratios) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  std::fflush(stdout);
  for (const Ratio& ratio : ratios) {
    const double ours = reporter.median(ratio.ours);
    const double anchor = reporter.median(ratio.anchor);
    if (ours <= 0 || anchor <= 0) continue;
    std::printf("ratio %s %.3f\n", ratio.name.c_str(), ours / anchor);
  }
  return 0;
}

}  // namespace zorlan::bench
