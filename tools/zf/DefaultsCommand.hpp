// `zf defaults`: lists, reads, writes, exports, imports and watches the
// suites of the defaults database.
#pragma once

#include <CLI/CLI.hpp>

namespace zf {

// Registers the `defaults` subcommand on `app`.
void addDefaultsCommand(CLI::App& app);

}  // namespace zf
