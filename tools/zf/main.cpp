// zf: command-line companion of ZorlanFoundation for people using the library.
#include <CLI/CLI.hpp>

#include "DefaultsCommand.hpp"
#include "EnvCommand.hpp"
#include "ExitCode.hpp"
#include "LogCommand.hpp"
#include "RouteCommand.hpp"
#include "TimePointsCommand.hpp"

int main(int argc, char** argv) {
  CLI::App app{"zf: tools for applications built on ZorlanFoundation"};
  app.require_subcommand(1);
  zf::addLogCommand(app);
  zf::addEnvCommand(app);
  zf::addDefaultsCommand(app);
  zf::addTimePointsCommand(app);
  zf::addRouteCommand(app);
  CLI11_PARSE(app, argc, argv);
  return zf::exitCode() != 0 ? zf::exitCode() : zf::timePointsExitCode();
}
