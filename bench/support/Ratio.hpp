// Runs the registered benchmarks and prints one "ratio <name> <value>" line
// per comparison: our time divided by the anchor's time for the same work.
#pragma once

#include <string>
#include <vector>

namespace zorlan::bench {

// One comparison: `ours` and `anchor` are full benchmark names as Google
// Benchmark reports them (for example "BM_RelayAccept/8").
struct Ratio {
  std::string name;
  std::string ours;
  std::string anchor;
};

// Runs every benchmark selected on the command line, then prints the ratios
// whose two sides both ran. Returns the process exit code.
int runBenchmarks(int argc, char** argv, const std::vector<Ratio>& ratios);

}  // namespace zorlan::bench
