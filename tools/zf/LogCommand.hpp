// `zf log`: prints the events of a log file.
#pragma once

#include <CLI/CLI.hpp>

namespace zf {

// Registers the `log` subcommand on `app`.
void addLogCommand(CLI::App& app);

}  // namespace zf
