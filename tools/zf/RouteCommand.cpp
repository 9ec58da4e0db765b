#include "RouteCommand.hpp"

#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ExitCode.hpp"
#include "zorlan/Routing/URLRoute.hpp"
#include "zorlan/Routing/URLRouter.hpp"

namespace zf {
namespace {

using zorlan::URL;
using zorlan::URLRoute;

struct Options {
  std::string routesFile;
  std::vector<std::string> arguments;  // PATTERN URL... or, with --routes, URL...
};

// "id=42 tab=info", or "(no variables)".
std::string variablesText(const zorlan::URLRouteVariables& variables) {
  if (variables.empty()) return "(no variables)";
  std::string out;
  for (const auto& [name, value] : variables) {
    if (!out.empty()) out += ' ';
    out += name + "=" + value;
  }
  return out;
}

// The text a route sees for `argument` (as the router forms it), or absent
// with a message when `argument` is not a URL.
std::optional<std::string> routedForm(const std::string& argument) {
  const std::optional<URL> url = URL::fromString(argument);
  if (!url) {
    std::cout << argument << ": not a URL\n";
    zf::setExitCode(2);
    return std::nullopt;
  }
  return zorlan::routingForm(*url);
}

void showPattern(const Options& options) {
  if (options.arguments.empty()) {
    std::cerr << "zf route: a pattern is needed (or --routes FILE)\n";
    setExitCode(2);
    return;
  }
  const URLRoute route(options.arguments.front());
  std::cout << "pattern: " << route.stringValue() << "\n";
  std::cout << "tokens:" << (route.tokens().empty() ? " (none)" : "") << "\n";
  for (const auto& token : route.tokens()) std::cout << "  " << zorlan::describe(token) << "\n";
  std::cout << "expression: " << route.matcher().regex() << "\n";
  for (std::size_t i = 1; i < options.arguments.size(); ++i) {
    const std::string& argument = options.arguments[i];
    const std::optional<std::string> form = routedForm(argument);
    if (!form) continue;
    const auto variables = route.matcher().match(*form);
    std::cout << argument << ": " << (variables ? variablesText(*variables) : "no match") << "\n";
    if (!variables && exitCode() == 0) setExitCode(1);
  }
}

void tryRoutes(const Options& options) {
  std::ifstream file(options.routesFile);
  if (!file) {
    std::cerr << "zf route: cannot read " << options.routesFile << "\n";
    setExitCode(2);
    return;
  }
  struct Numbered {
    int line;
    std::unique_ptr<URLRoute> route;
  };
  std::vector<Numbered> routes;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty() || line.front() == '#') continue;
    routes.push_back({number, std::make_unique<URLRoute>(line)});
  }
  for (const std::string& argument : options.arguments) {
    const std::optional<std::string> form = routedForm(argument);
    if (!form) continue;
    std::cout << argument << "\n";
    bool any = false;
    for (const Numbered& numbered : routes) {
      if (const auto variables = numbered.route->matcher().match(*form)) {
        std::cout << "  line " << numbered.line << ": " << numbered.route->stringValue() << "  "
                  << variablesText(*variables) << "\n";
        any = true;
      }
    }
    if (!any) {
      std::cout << "  no match\n";
      if (exitCode() == 0) setExitCode(1);
    }
  }
}

}  // namespace

void addRouteCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* route = app.add_subcommand(
      "route",
      "Show a route pattern's tokens and expression and match URLs against it\n"
      "  zf route PATTERN [URL...]        the tokens, the expression, each URL's variables\n"
      "  zf route --routes FILE URL...    every route of FILE (one pattern a line; blank\n"
      "                                   lines and lines starting with # are skipped)\n"
      "                                   that matches each URL, in file order\n"
      "URLs are matched as the router matches them: without query and one trailing \"/\".\n"
      "Exit status: 0 all URLs matched, 1 some URL matched nothing, 2 bad input.");
  route->add_option("--routes", options->routesFile, "A file of route patterns, one a line");
  route->add_option("arguments", options->arguments, "PATTERN [URL...], or URL... with --routes");
  route->callback([options] {
    if (options->routesFile.empty()) {
      showPattern(*options);
    } else {
      tryRoutes(*options);
    }
  });
}

}  // namespace zf
