// Deep-link routing: one URL matched against 1,000 routes of the shapes apps
// register, by the library's matchers, against the same search done plainly
// with ICU: compiling each route's expression for every match, and with an
// obvious cache of one compiled pattern per route. Every side must find the
// same matches with the same variables (checked before timing). Beside them,
// ICU at its best: a matcher per route kept and the link converted once.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "support/Ratio.hpp"
#include "support/ReferenceRouteMatch.hpp"
#include "zorlan/Platform/URL.hpp"
#include "zorlan/Routing/URLRoute.hpp"
#include "zorlan/Routing/URLRouter.hpp"

namespace {

using zorlan::URLRoute;
using zorlan::URLRouteVariables;

// 1,000 routes: 100 sections, each with the ten shapes below, on the app
// scheme and on the web site's universal links.
std::vector<std::shared_ptr<const URLRoute>> makeRoutes() {
  static const char* kShapes[] = {
      "zorlan://{s}",
      "zorlan://{s}/${id}",
      "zorlan://{s}/${id}/season/${season:[0-9]+}",
      "zorlan://{s}/${id}/season/${season:[0-9]+}/episode/${episode:[0-9]+}",
      "zorlan://{s}/collection/${slug:[a-z0-9-]+}/*",
      "https://www.zorlan.tv/{s}/${id}",
      "https://www.zorlan.tv/${locale:[a-z][a-z]-[a-z][a-z]}/{s}/${id}",
      "https://www.zorlan.tv/{s}/${kind:(movie|show)}/${id}/",
      "https://zorlan.tv/{s}/**",
      "zorlan://{s}/settings/${page}",
  };
  std::vector<std::shared_ptr<const URLRoute>> routes;
  for (int section = 0; section < 100; ++section) {
    const std::string name = "section" + std::to_string(section);
    for (const char* shape : kShapes) {
      std::string pattern = shape;
      pattern.replace(pattern.find("{s}"), 3, name);
      routes.push_back(std::make_shared<URLRoute>(pattern));
    }
  }
  return routes;
}

// The routing forms of links as they arrive: most match one or two routes,
// some none.
std::vector<std::string> makeInputs() {
  const char* links[] = {
      "zorlan://section7/1234?source=push",
      "zorlan://section42/abc-def/season/3/episode/12",
      "zorlan://section99/collection/summer-2026/featured/1",
      "https://www.zorlan.tv/section5/987654?utm_source=mail&utm_campaign=x",
      "https://www.zorlan.tv/en-gb/section63/42",
      "https://www.zorlan.tv/section18/show/777/",
      "https://zorlan.tv/section0/anything/at/all",
      "zorlan://section71/settings/account",
      "zorlan://unknown/1",
      "https://www.zorlan.tv/about",
      "zorlan://SECTION3/Mixed-Case",
      "https://other.example/section3/1",
  };
  std::vector<std::string> inputs;
  for (const char* link : links)
    inputs.push_back(*zorlan::routingForm(*zorlan::URL::fromString(link)));
  return inputs;
}

struct Fixture {
  std::vector<std::shared_ptr<const URLRoute>> routes = makeRoutes();
  std::vector<std::string> inputs = makeInputs();
  std::vector<std::vector<std::string>> names;
  std::vector<std::unique_ptr<icu::RegexPattern>> compiled;

  Fixture() {
    for (const auto& route : routes) {
      names.push_back(zorlan::testing::routeVariableNames(route->tokens()));
      compiled.push_back(zorlan::testing::compileRoutePattern(route->matcher().regex()));
    }
  }
};

const Fixture& fixture() {
  static const Fixture f;
  return f;
}

using Matches = std::vector<std::pair<std::size_t, URLRouteVariables>>;

Matches matchLibrary(const Fixture& f, const std::string& input) {
  Matches out;
  for (std::size_t i = 0; i < f.routes.size(); ++i) {
    if (auto v = f.routes[i]->matcher().match(input)) out.emplace_back(i, std::move(*v));
  }
  return out;
}

Matches matchPlain(const Fixture& f, const std::string& input, bool precompiled) {
  Matches out;
  for (std::size_t i = 0; i < f.routes.size(); ++i) {
    auto result =
        zorlan::testing::referenceRouteMatch(f.routes[i]->matcher().regex(), f.names[i], input,
                                             precompiled ? f.compiled[i].get() : nullptr);
    if (result.variables) out.emplace_back(i, std::move(*result.variables));
  }
  return out;
}

// ICU used at its best for this search: one matcher per route made once,
// the link converted to UTF-16 once, and the whole-input rule applied by
// anchoring the match at the start (the first match can only cover the input
// when it starts there).
struct ReusedMatchers {
  std::vector<std::unique_ptr<icu::RegexMatcher>> matchers;
  ReusedMatchers() {
    for (const auto& pattern : fixture().compiled) {
      UErrorCode status = U_ZERO_ERROR;
      matchers.emplace_back(pattern ? pattern->matcher(status) : nullptr);
    }
  }
};

Matches matchReusedMatchers(const Fixture& f, const std::string& input) {
  static ReusedMatchers reused;
  Matches out;
  const icu::UnicodeString text = icu::UnicodeString::fromUTF8(input);
  for (std::size_t i = 0; i < f.routes.size(); ++i) {
    icu::RegexMatcher* m = reused.matchers[i].get();
    if (!m) continue;
    UErrorCode status = U_ZERO_ERROR;
    m->reset(text);
    if (!m->lookingAt(status) || m->end(status) != text.length()) continue;
    std::vector<std::string> captures;
    for (int32_t g = 1; g <= m->groupCount(); ++g) {
      const int32_t start = m->start(g, status), end = m->end(g, status);
      if (start < 0 || (start == 0 && end == text.length())) continue;
      captures.emplace_back();
      text.tempSubStringBetween(start, end).toUTF8String(captures.back());
    }
    const auto& names = f.names[i];
    if (!names.empty() && captures.size() < names.size()) continue;
    URLRouteVariables variables;
    for (std::size_t n = 0; n < names.size(); ++n)
      variables.insert_or_assign(names[n], captures[n]);
    out.emplace_back(i, std::move(variables));
  }
  return out;
}

void checkIdenticalResults() {
  const Fixture& f = fixture();
  std::size_t total = 0;
  for (const std::string& input : f.inputs) {
    const Matches ours = matchLibrary(f, input);
    if (ours != matchPlain(f, input, true) || ours != matchPlain(f, input, false) ||
        ours != matchReusedMatchers(f, input)) {
      std::fprintf(stderr, "routing results differ for %s\n", input.c_str());
      std::exit(1);
    }
    total += ours.size();
  }
  std::printf("routing: %zu routes, %zu links, %zu matches, identical on every side\n",
              f.routes.size(), f.inputs.size(), total);
}

// One iteration: one link against every route (the links taken in turn).
template <class Match>
void runLinks(benchmark::State& state, Match match) {
  const Fixture& f = fixture();
  std::size_t next = 0;
  for (auto _ : state) {
    Matches found = match(f, f.inputs[next]);
    benchmark::DoNotOptimize(found);
    next = (next + 1) % f.inputs.size();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void BM_RouteMatch(benchmark::State& state) { runLinks(state, matchLibrary); }
BENCHMARK(BM_RouteMatch);

void BM_CompileEachMatch(benchmark::State& state) {
  runLinks(state, [](const Fixture& f, const std::string& in) { return matchPlain(f, in, false); });
}
BENCHMARK(BM_CompileEachMatch)->MinTime(1.0);

void BM_PrecompiledICU(benchmark::State& state) {
  runLinks(state, [](const Fixture& f, const std::string& in) { return matchPlain(f, in, true); });
}
BENCHMARK(BM_PrecompiledICU);

void BM_ReusedICUMatchers(benchmark::State& state) { runLinks(state, matchReusedMatchers); }
BENCHMARK(BM_ReusedICUMatchers);

}  // namespace

int main(int argc, char** argv) {
  checkIdenticalResults();
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"route_match_vs_compile_each", "BM_RouteMatch", "BM_CompileEachMatch/min_time:1.000"},
       {"route_match_vs_precompiled_icu", "BM_RouteMatch", "BM_PrecompiledICU"},
       {"route_match_vs_reused_icu_matchers", "BM_RouteMatch", "BM_ReusedICUMatchers"}});
}
