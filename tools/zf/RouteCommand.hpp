// `zf route`: shows how deep-link routes read and which URLs they match.
#pragma once

#include <CLI/CLI.hpp>

namespace zf {

// Registers the `route` subcommand on `app`.
void addRouteCommand(CLI::App& app);

}  // namespace zf
