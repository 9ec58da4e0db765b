#include "support/Ratio.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

namespace zorlan::bench {
namespace {

// Records the seconds per iteration of every plain (non-aggregate) run while
// still printing the usual console table.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  // No colours: escape codes would otherwise precede the ratio lines.
  RecordingReporter() : ConsoleReporter(OO_Tabular) {}

  std::map<std::string, double> secondsPerIteration;

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0 && !run.error_occurred) {
        secondsPerIteration[run.benchmark_name()] =
            run.real_accumulated_time / static_cast<double>(run.iterations);
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
    auto ours = reporter.secondsPerIteration.find(ratio.ours);
    auto anchor = reporter.secondsPerIteration.find(ratio.anchor);
    if (ours == reporter.secondsPerIteration.end() ||
        anchor == reporter.secondsPerIteration.end() || anchor->second <= 0) {
      continue;
    }
    std::printf("ratio %s %.3f\n", ratio.name.c_str(), ours->second / anchor->second);
  }
  return 0;
}

}  // namespace zorlan::bench
