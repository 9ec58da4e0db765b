// `zf timepoints`: prints the lanes of a time points trace (Trace Event
// Format JSON, as `TimePoints::writeTrace` writes it) and draws them as SVG.
#pragma once

#include <CLI/CLI.hpp>

namespace zf {

// Registers the `timepoints` subcommand on `app`.
void addTimePointsCommand(CLI::App& app);

// The exit code of `timepoints` when it ran (0 when all went well or it did
// not run): 1 for a file that is not a trace, 2 for one that cannot be read
// or an SVG that cannot be written.
int timePointsExitCode();

}  // namespace zf
