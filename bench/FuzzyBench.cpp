// Fuzzy search over a catalogue of titles: the library's linear-time scorer
// against a plain implementation of the same algorithm (quadratic search for
// the best earlier entry), over the same 100,000 titles with the same term.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "../tests/support/FuzzyReference.hpp"
#include "support/Ratio.hpp"
#include "zorlan/Text/FuzzySearch.hpp"

namespace {

constexpr std::size_t kTitles = 100'000;
constexpr std::string_view kTerm = "midnight";  // 8 characters, no letter doubled

struct Title {
  std::string text;
};

// Titles of 20 to 60 characters from words; about one in twenty has an
// accented letter, so the Unicode path takes part.
const std::vector<Title>& titles() {
  static const std::vector<Title> all = [] {
    static const char* const kWords[] = {
        "the",    "night", "of",   "midnight", "Garden", "Star",  "wars",    "return",
        "King",   "light", "Dark", "sun",      "Moon",   "in",    "and",     "Mind",
        "Empire", "Story", "last", "Hidden",   "Tide",   "high",  "Winter",  "caf\xc3\xa9",
        "river",  "Gate",  "time", "Edge",     "Dream",  "Ghost", "Night's", "Hunt"};
    std::mt19937 random(2024);
    std::uniform_int_distribution<std::size_t> lengths(20, 60);
    std::uniform_int_distribution<std::size_t> words(0, std::size(kWords) - 1);
    std::vector<Title> result;
    result.reserve(kTitles);
    while (result.size() < kTitles) {
      const std::size_t length = lengths(random);
      std::string text;
      while (text.size() < length) {
        if (!text.empty()) text += ' ';
        text += kWords[words(random)];
      }
      text.resize(length);
      // Do not leave half of a two-byte letter at the end.
      if (!text.empty() && static_cast<unsigned char>(text.back()) == 0xC3) text.back() = 'e';
      result.push_back(Title{std::move(text)});
    }
    return result;
  }();
  return all;
}

std::optional<std::string_view> textOf(const Title& title) { return title.text; }
std::optional<bool> noOverride(const Title&) { return std::nullopt; }

// Both searches give the same titles in the same order; checked once.
void checkSameResults() {
  static const bool checked = [] {
    const auto ours = zorlan::fuzzySearch(titles(), kTerm, textOf, noOverride);
    const auto plain = zorlan::reference::fuzzySearch(titles(), kTerm, textOf, noOverride);
    bool same = ours.size() == plain.size();
    for (std::size_t i = 0; same && i < ours.size(); ++i) same = ours[i].text == plain[i].text;
    if (!same) {
      std::fprintf(stderr, "fuzzySearch and the plain search disagree\n");
      std::abort();
    }
    std::printf("matches: %zu of %zu titles\n", ours.size(), titles().size());
    return true;
  }();
  (void)checked;
}

void perTitle(benchmark::State& state) {
  state.counters["ns_per_title"] =
      benchmark::Counter(static_cast<double>(state.iterations() * kTitles) / 1e9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_FuzzySearch(benchmark::State& state) {
  checkSameResults();
  for (auto _ : state) {
    auto found = zorlan::fuzzySearch(titles(), kTerm, textOf, noOverride);
    benchmark::DoNotOptimize(found.data());
  }
  perTitle(state);
}
BENCHMARK(BM_FuzzySearch)->Iterations(10)->Unit(benchmark::kMillisecond);

void BM_FuzzySearchReference(benchmark::State& state) {
  checkSameResults();
  for (auto _ : state) {
    auto found = zorlan::reference::fuzzySearch(titles(), kTerm, textOf, noOverride);
    benchmark::DoNotOptimize(found.data());
  }
  perTitle(state);
}
BENCHMARK(BM_FuzzySearchReference)->Iterations(2)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return zorlan::bench::runBenchmarks(argc, argv,
                                      {{"fuzzy_search_vs_reference", "BM_FuzzySearch/iterations:10",
                                        "BM_FuzzySearchReference/iterations:2"}});
}
