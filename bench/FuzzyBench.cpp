// Fuzzy search over a catalogue of 100,000 titles of mixed scripts (mostly
// ASCII; accented Latin, Greek, Cyrillic, CJK, emoji and decomposed letters
// for the rest): the library's scorer against a literal implementation of the
// same algorithm (term prepared once, one reused row, the first-character rule
// first, a plain ASCII path), with the same terms. Before timing, both give
// the same scores bit for bit for every title and term, and the same titles in
// the same order.
#include <benchmark/benchmark.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "../tests/support/FuzzyLiteral.hpp"
#include "support/Ratio.hpp"
#include "zorlan/Text/FuzzySearch.hpp"

namespace {

constexpr std::size_t kTitles = 100'000;

// A dozen terms of 1 to 8 characters.
const std::vector<std::string> kMixedTerms = {
    "m",
    "ni",
    "the",
    "Star",
    "moon",
    "night",
    "garden",
    "midnight",
    "caf\xc3\xa9",
    "\xd0\xbc\xd0\xb8\xd1\x80" /* мир */,
    "\xce\xbd\xcf\x8d\xcf\x87\xcf\x84\xce\xb1" /* νύχτα */,
    "\xe6\x9d\xb1\xe4\xba\xac" /* 東京 */};
// Terms whose first character is not ASCII.
const std::vector<std::string> kNonAsciiTerms = {
    "\xc3\xa9"
    "cole" /* école */,
    "\xc3\xa9t\xc3\xa9" /* été */, "\xe6\x9d\xb1\xe4\xba\xac" /* 東京 */,
    "\xe6\x9d\xb1\xe4\xba\xac\xe3\x81\xae\xe5\xa4\x9c" /* 東京の夜 */};

// A catalogue entry: its title (held by the catalogue's text storage) and its
// number. Cheap to copy, so that the searches' results cost little beyond the
// search itself.
struct Title {
  std::string_view text;
  std::uint32_t id;
};

// Titles of 3 to 9 words, made once from a fixed seed: 85% of them ASCII
// only, the rest with words of one other kind each.
const std::vector<std::string>& titleTexts() {
  static const std::vector<std::string> all = [] {
    static const std::vector<std::string> kAscii = {
        "the",   "night",  "of",      "midnight", "Garden", "Star",   "wars",    "return", "King",
        "light", "Dark",   "sun",     "Moon",     "in",     "and",    "Mind",    "Empire", "Story",
        "last",  "Hidden", "Tide",    "high",     "Winter", "river",  "Gate",    "time",   "Edge",
        "Dream", "Ghost",  "Night's", "Hunt",     "Cafe",   "mirror", "Station", "Ocean",  "Tokyo"};
    static const std::vector<std::vector<std::string>> kOthers = {
        // Accented Latin.
        {"caf\xc3\xa9",
         "\xc3\x89"
         "cole",
         "\xc3\xa9t\xc3\xa9", "M\xc3\xbcller", "S\xc3\xa3o",
         "\xc3\x91"
         "and\xc3\xba",
         "Stra\xc3\x9f"
         "e",
         "na\xc3\xafve", "Gar\xc3\xa7on", "\xc3\x85sa"},
        // Greek (capitals, so final sigma arises).
        {"\xce\x9d\xce\xaf\xce\xba\xce\xb7", "\xce\x9f\xce\x94\xce\x9f\xce\xa3",
         "\xce\xbd\xcf\x8d\xcf\x87\xcf\x84\xce\xb1",
         "\xce\x9a\xce\x9f\xce\xa3\xce\x9c\xce\x9f\xce\xa3",
         "\xce\xa3\xce\xbf\xcf\x86\xce\xaf\xce\xb1", "\xce\x91\xce\xb8\xce\xae\xce\xbd\xce\xb1"},
        // Cyrillic.
        {"\xd0\x9c\xd0\xbe\xd1\x81\xd0\xba\xd0\xb2\xd0\xb0",
         "\xd0\x92\xd0\xbe\xd0\xb9\xd0\xbd\xd0\xb0", "\xd0\xb8", "\xd0\x9c\xd0\x98\xd0\xa0",
         "\xd0\xbd\xd0\xbe\xd1\x87\xd1\x8c", "\xd0\x97\xd0\xb2\xd0\xb5\xd0\xb7\xd0\xb4\xd0\xb0"},
        // CJK.
        {"\xe6\x9d\xb1\xe4\xba\xac", "\xe3\x81\xae", "\xe5\xa4\x9c", "\xe7\x89\xa9\xe8\xaa\x9e",
         "\xe6\x9d\xb1\xe4\xba\xac\xe3\x82\xbf\xe3\x83\xaf\xe3\x83\xbc", "\xe6\x98\x9f",
         "\xe6\x9c\x88\xe5\x85\x89"},
        // Emoji: single, with a skin tone, a flag, a joined family.
        {"\xf0\x9f\x8e\xac", "\xf0\x9f\x91\x8d\xf0\x9f\x8f\xbd", "\xf0\x9f\x87\xab\xf0\x9f\x87\xb7",
         "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9\xe2\x80\x8d\xf0\x9f\x91\xa7", "\xe2\xad\x90",
         "\xf0\x9f\x8c\x99"},
        // Decomposed: letters followed by combining marks.
        {"e\xcc\x81"
         "cole",
         "Cafe\xcc\x81",
         "E\xcc\x81t\xcc\x81"
         "e",
         "n\xcc\x83"
         "and\xcc\x81",
         "Mu\xcc\x88ller", "A\xcc\x8asa"},
    };
    std::mt19937 random(2024);
    std::uniform_int_distribution<std::size_t> wordCounts(3, 9);
    std::vector<std::string> result;
    result.reserve(kTitles);
    while (result.size() < kTitles) {
      const bool ascii = random() % 100 < 85;
      const std::vector<std::string>& others = kOthers[random() % kOthers.size()];
      const std::size_t count = wordCounts(random);
      std::string text;
      for (std::size_t w = 0; w < count; ++w) {
        if (!text.empty()) text += ' ';
        text += !ascii && random() % 2 == 0 ? others[random() % others.size()]
                                            : kAscii[random() % kAscii.size()];
      }
      result.push_back(std::move(text));
    }
    return result;
  }();
  return all;
}

const std::vector<Title>& titles() {
  static const std::vector<Title> all = [] {
    std::vector<Title> result;
    for (const std::string& text : titleTexts()) {
      result.push_back(Title{text, static_cast<std::uint32_t>(result.size())});
    }
    return result;
  }();
  return all;
}

std::optional<std::string_view> textOf(const Title& title) { return title.text; }
std::optional<bool> noOverride(const Title&) { return std::nullopt; }

std::string describe(const std::optional<float>& score) {
  if (!score) return "absent";
  char text[64];
  std::snprintf(text, sizeof text, "%.9g (bits %08x)", static_cast<double>(*score),
                static_cast<unsigned>(std::bit_cast<std::uint32_t>(*score)));
  return text;
}

// For every term: the same score for every title, bit for bit (NaN
// included), and the same titles in the same order from both searches.
void checkSameResults(const std::vector<std::string>& terms) {
  for (const std::string& term : terms) {
    const zorlan::FuzzyMatcher matcher(term);
    zorlan::literal::Matcher literal(term);
    std::size_t present = 0, nan = 0;
    for (const Title& title : titles()) {
      const std::optional<float> ours = matcher.score(title.text);
      const std::optional<float> theirs = literal.score(title.text);
      const bool same =
          ours.has_value() == theirs.has_value() &&
          (!ours || std::bit_cast<std::uint32_t>(*ours) == std::bit_cast<std::uint32_t>(*theirs));
      if (!same) {
        std::fprintf(stderr, "scores differ for \"%s\" / \"%s\": %s vs %s\n",
                     std::string(title.text).c_str(), term.c_str(), describe(ours).c_str(),
                     describe(theirs).c_str());
        std::exit(1);
      }
      present += ours.has_value();
      nan += ours && std::isnan(*ours);
    }
    const auto ours = zorlan::fuzzySearch(titles(), term, textOf, noOverride);
    const auto theirs = zorlan::literal::fuzzySearch(titles(), term, textOf, noOverride);
    bool same = ours.size() == theirs.size();
    for (std::size_t i = 0; same && i < ours.size(); ++i) same = ours[i].id == theirs[i].id;
    if (!same) {
      std::fprintf(stderr, "the searches for \"%s\" disagree\n", term.c_str());
      std::exit(1);
    }
    std::printf("term %-14s kept %6zu of %zu titles (%zu NaN)\n", term.c_str(), present,
                titles().size(), nan);
  }
}

void perSearch(benchmark::State& state, std::size_t searches) {
  state.counters["ns_per_title"] =
      benchmark::Counter(static_cast<double>(state.iterations() * kTitles * searches) / 1e9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <bool kLiteral>
void searchAll(benchmark::State& state, const std::vector<std::string>& terms) {
  for (auto _ : state) {
    for (const std::string& term : terms) {
      auto found = kLiteral ? zorlan::literal::fuzzySearch(titles(), term, textOf, noOverride)
                            : zorlan::fuzzySearch(titles(), term, textOf, noOverride);
      benchmark::DoNotOptimize(found.data());
    }
  }
  perSearch(state, terms.size());
}

void BM_FuzzySearch(benchmark::State& state) { searchAll<false>(state, kMixedTerms); }
BENCHMARK(BM_FuzzySearch)->Iterations(5)->Unit(benchmark::kMillisecond);

void BM_FuzzySearchLiteral(benchmark::State& state) { searchAll<true>(state, kMixedTerms); }
BENCHMARK(BM_FuzzySearchLiteral)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_FuzzySearchNonAscii(benchmark::State& state) { searchAll<false>(state, kNonAsciiTerms); }
BENCHMARK(BM_FuzzySearchNonAscii)->Iterations(5)->Unit(benchmark::kMillisecond);

void BM_FuzzySearchNonAsciiLiteral(benchmark::State& state) {
  searchAll<true>(state, kNonAsciiTerms);
}
BENCHMARK(BM_FuzzySearchNonAsciiLiteral)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  checkSameResults(kMixedTerms);
  checkSameResults(kNonAsciiTerms);
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"fuzzy_search_vs_literal", "BM_FuzzySearch/iterations:5",
        "BM_FuzzySearchLiteral/iterations:1"},
       {"fuzzy_search_nonascii_vs_literal", "BM_FuzzySearchNonAscii/iterations:5",
        "BM_FuzzySearchNonAsciiLiteral/iterations:1"}});
}
