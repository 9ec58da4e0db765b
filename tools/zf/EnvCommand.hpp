// `zf env`: prints what the library sees in this process and on this machine.
#pragma once

#include <CLI/CLI.hpp>

namespace zf {

// Registers the `env` subcommand on `app`.
void addEnvCommand(CLI::App& app);

}  // namespace zf
