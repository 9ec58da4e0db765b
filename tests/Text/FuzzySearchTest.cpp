// zorlan/Text/FuzzySearch.hpp: fuzzy scores, pinned by hand and checked bit for bit against the
// plain algorithm, and the search that filters, forces and orders by them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "support/FuzzyLiteral.hpp"
#include "zorlan/Text/FuzzySearch.hpp"

namespace zorlan {
namespace {

std::uint32_t bitsOf(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::string describe(const std::optional<float>& score) {
  if (!score) return "absent";
  return std::to_string(*score) + " (bits " + std::to_string(bitsOf(*score)) + ")";
}

// Scores pinned by hand; NaN stands for a present NaN score.
TEST(FuzzyMatchScoreTest, WorkedValues) {
  const float kNaN = std::nanf("");
  const std::string kFamily =  // four people joined with U+200D: one character
      "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9\xe2\x80\x8d\xf0\x9f\x91\xa7\xe2\x80\x8d\xf0"
      "\x9f\x91\xa6";
  const std::string kDecomposedE = "e\xcc\x81";  // e + U+0301
  // clang-format off
  const struct {
    std::string candidate, term;
    std::optional<float> expected;
  } cases[] = {
      {"hello", "hl", 1.0f}, {"hello", "he", 2.0f},  // the worked values of the header
      {"hello", "hel", 3.0f}, {"hello", "ho", 2.0f - std::sqrt(3.0f)},  // a gap of three costs √3
      {"Apple", "AP", 2.0f}, {"apple", "AP", 2.0f}, {"Apple", "x", std::nullopt},
      {"Apple", "", std::nullopt}, {"", "a", std::nullopt},
      {"Apple", "ax", std::nullopt},  // the last character must match somewhere
      {"Apple", "aze", 1.0f},  // an unchained character starts over at 1.0
      {"axbxxc", "abc", 2.0f - std::sqrt(2.0f)},  // b after a gap of 1, c after a gap of 2
      {"abcabc", "c", 1.0f},
      {"ab", "aa", kNaN}, {"hello", "ll", kNaN},  // a NaN first in the last row stays the result
      // The first-character rule lower-cases the candidate as a whole text, where a capital sigma
      // ending a word becomes a final sigma; one by one, characters lower-case alone (Σ to σ).
      {"\xce\x91\xce\xa3", "\xcf\x82\xce\xb1", 1.0f},          // ΑΣ / ςα
      {"\xce\x91\xce\xa3", "\xcf\x83\xce\xb1", std::nullopt},  // ΑΣ / σα
      {"\xce\xa3\xce\x91", "\xcf\x83\xce\xb1", 2.0f},          // ΣΑ / σα
      // First characters beyond ASCII.
      {"\xc3\x89t\xc3\xa9", "\xc3\xa9t", 2.0f},     // Été / ét
      {"ete", "\xc3\xa9t", std::nullopt},           // ete / ét
      {"Ete\xcc\x81 sans fin", "\xc3\xa9s", 1.0f},  // Eté (e + U+0301) / és
      {"Tokyo \xe6\x9d\xb1\xe4\xba\xac", "\xe6\x9d\xb1\xe4\xba\xac", 2.0f},  // 東京 / 東京
      // Characters are graphemes compared by their lower-case form: composed and decomposed
      // forms are one character, é is not e, the Kelvin sign is k, CR LF is one character and a
      // lone CR is not it.
      {"caf" + kDecomposedE, "f\xc3\xa9", 2.0f}, {"CAF\xc3\x89", "f" + kDecomposedE, 2.0f},
      {"caf\xc3\xa9", "fe", std::nullopt}, {"a" + kFamily + "b", "ab", 1.0f},
      {"a" + kFamily + "b", "a" + kFamily, 2.0f}, {"Kiwi", "\xe2\x84\xaai", 2.0f},
      {"a\r\nb", "a\r\nb", 3.0f}, {"a\r\nb", "a\rb", 1.0f},
      {"a\r\nb", "a\r", std::nullopt}};
  // clang-format on
  for (const auto& c : cases) {
    const auto score = fuzzyMatchScore(c.candidate, c.term);
    SCOPED_TRACE(c.candidate + " / " + c.term + ": " + describe(score));
    ASSERT_EQ(score.has_value(), c.expected.has_value());
    if (score && std::isnan(*c.expected)) {
      EXPECT_TRUE(std::isnan(*score));
    } else if (score) {
      EXPECT_EQ(bitsOf(*score), bitsOf(*c.expected));
    }
  }
}

// Random texts over an alphabet with upper and lower case, repeated letters (for NaN scores),
// combining marks, composed letters, emoji sequences and separators, so both the byte-level and
// the Unicode paths are exercised.
std::string randomText(std::mt19937& random, int maxCharacters, bool asciiOnly) {
  static const std::vector<std::string> kAscii = {"a",    "b",  "c",  "A", "B", "x", " ",
                                                  "\r\n", "\r", "\n", "-", "e", "E"};
  // clang-format off
  static const std::vector<std::string> kUnicode = {
      "\xc3\xa9", "e\xcc\x81", "\xc3\x89", "\xce\xa3",               // é, e+◌́, É, Σ
      "\xcf\x83", "\xcf\x82", "\xc3\x9f", "\xe2\x84\xaa",            // σ ς ß K
      "\xf0\x9f\x87\xab\xf0\x9f\x87\xb7",                            // flag
      "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9",                // joined pair
      "\xcc\x81", "\xc4\xb0", "\xe6\x9d\xb1", "\xed\x95\x9c",        // lone mark, İ, 東, 한
      "\xf0\x9f\x91\x8d\xf0\x9f\x8f\xbd"};                           // thumbs up, skin tone
  // clang-format on
  std::uniform_int_distribution<int> length(0, maxCharacters);
  std::string text;
  const int count = length(random);
  for (int i = 0; i < count; ++i) {
    const auto& pool = !asciiOnly && random() % 4 == 0 ? kUnicode : kAscii;
    text += pool[random() % pool.size()];
  }
  return text;
}

// The library's score and the plain algorithm's, bit for bit; returns the score.
std::optional<float> expectPlainScore(const std::string& candidate, const std::string& term) {
  const auto fast = fuzzyMatchScore(candidate, term);
  const auto plain = literal::fuzzyMatchScore(candidate, term);
  EXPECT_EQ(fast.has_value(), plain.has_value()) << '"' << candidate << "\" / \"" << term << '"';
  if (fast && plain) {
    EXPECT_EQ(bitsOf(*fast), bitsOf(*plain))
        << '"' << candidate << "\" / \"" << term << "\": " << describe(fast) << " vs "
        << describe(plain);
  }
  return fast;
}

TEST(FuzzyMatchScoreTest, MatchesThePlainAlgorithmBitForBit) {
  std::mt19937 random(7);
  int present = 0;
  int nans = 0;
  for (int round = 0; round < 6000 && !HasFailure(); ++round) {
    const std::string candidate = randomText(random, 24, round % 2 == 0);
    const auto score = expectPlainScore(candidate, randomText(random, 5, round % 2 == 0));
    present += score.has_value();
    nans += score && std::isnan(*score);
  }
  // The sample covers scores and NaN scores, not only absent ones.
  EXPECT_GT(present, 1000);
  EXPECT_GT(nans, 100);
}

// Every two-byte character, alone, next to ASCII, doubled, before a combining mark (which joins it
// into one character) and after CR: the same score as the plain algorithm, bit for bit.
TEST(FuzzyMatchScoreTest, EveryTwoByteCharacterScoresAsThePlainAlgorithm) {
  for (std::uint32_t c = 0x80; c < 0x800 && !HasFailure(); ++c) {
    const std::string x{static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
    for (const auto& candidate :
         {"a" + x + "b" + x, x + "\xcc\x81" + "b" + x, "\r" + x + "Ab", x + x + "a"}) {
      for (const auto& term : {x + "b", "a" + x, x + x, std::string("b")}) {
        expectPlainScore(candidate, term);
      }
    }
  }
}

// Terms longer than 64 characters, terms whose first character is not ASCII and terms repeating
// one letter many times are scored without the one-pass scorer; the results are the same.
TEST(FuzzyMatchScoreTest, LongAndNonAsciiTermsScoreAsThePlainAlgorithm) {
  for (std::size_t repeats = 1; repeats <= 7; ++repeats) {
    for (const std::string& term :
         {std::string(repeats, 'a') + "b", "b" + std::string(repeats, 'A')}) {
      for (const char* candidate : {"aaaaaaaab", "b a a a a a a a", "ab-ba-aab", "BAAAAAAAAAA"}) {
        expectPlainScore(candidate, term);
      }
    }
  }
  std::mt19937 random(3);
  for (int round = 0; round < 300 && !HasFailure(); ++round) {
    const std::string candidate = randomText(random, 90, round % 2 == 0);
    std::string term = round % 3 == 0 ? "\xc3\x89" : "";
    while (term.size() < 70) term += randomText(random, 8, true);
    expectPlainScore(candidate, term);
  }
}

// A first term character that normalization never makes, changes or joins (an ideograph, a
// Cyrillic letter without composites) is looked for code point by code point, joining marks
// included; one that composes (é, и) is not. Marks after it, a compatibility ideograph that
// normalizes to it, a joiner before it: the same scores as the plain algorithm.
TEST(FuzzyMatchScoreTest, FirstCharactersSeenThroughJoiningMarks) {
  const std::string kEast = "\xe6\x9d\xb1", kCapital = "\xe4\xba\xac";  // 東 京
  const std::string kAcute = "\xcc\x81", kBreve = "\xcc\x86", kJoiner = "\xe2\x80\x8d";
  const std::string kM = "\xd0\xbc", kI = "\xd0\xb8";                     // м и
  const std::string kCompat = "\xef\xa4\x80", kUnified = "\xe8\xb1\x88";  // U+F900, U+8C48
  for (const std::string& term :
       {kEast + kCapital, kEast, kM + kI, kI + kM, kUnified + "a", std::string("\xc3\xa9") + "t"}) {
    for (const std::string& candidate :
         {kEast + kAcute + kCapital, "a" + kAcute + " " + kEast + kCapital, kCompat + "a",
          "x" + kJoiner + kEast, kM + kBreve + kI + kM, kI + kBreve + kM, "e" + kAcute + "t",
          "E" + kAcute + kAcute + "t", kAcute + kEast, "plain ascii " + kAcute}) {
      expectPlainScore(candidate, term);
    }
  }
}

struct Item {
  std::string name;
  std::optional<std::string> title;
  std::optional<bool> forced;
  friend bool operator==(const Item&, const Item&) = default;
};

std::vector<std::string> namesOf(const std::vector<Item>& items) {
  std::vector<std::string> names;
  for (const auto& item : items) names.push_back(item.name);
  return names;
}

std::vector<Item> search(const std::vector<Item>& items, std::optional<std::string_view> term) {
  return fuzzySearch(
      items, term, [](const Item& item) { return item.title; },
      [](const Item& item) { return item.forced; });
}

using Names = std::vector<std::string>;

TEST(FuzzySearchTest, FiltersForcesAndOrdersByScore) {
  const std::vector<Item> items = {
      {"none", std::nullopt, std::nullopt},  // no text, no decision: left out
      {"weak", "h-e", std::nullopt},         // 2 - 1 = 1.0
      {"hello", "hello", std::nullopt},      // 2.0
      {"miss", "zzz", std::nullopt},         // no score: left out
      {"forcedIn", std::nullopt, true},      // forced: 1.0
      {"out", "he", false},                  // dropped despite the best score
      {"forcedHigh", "HE!", true},           // forced, keeps its own 2.0
      {"forcedLow", "h__e", true},           // 1 - √2 + 1 is below 1: raised to 1.0
      {"weak2", "h_e", std::nullopt},        // 1.0
  };
  EXPECT_EQ(namesOf(search(items, "he")),
            (Names{"hello", "forcedHigh", "weak", "forcedIn", "forcedLow", "weak2"}));
  // No term: everything, in order, overrides not asked.
  EXPECT_EQ(search(items, std::nullopt), items);
  EXPECT_EQ(search(items, ""), items);
  const auto noOverride = fuzzySearch(items, "he", [](const Item& item) { return item.title; });
  EXPECT_EQ(namesOf(noOverride),
            (Names{"hello", "out", "forcedHigh", "weak", "weak2", "forcedLow"}));
}

// Small searches, and large ones where equal, negative and forced scores keep the input order
// among equals and NaN scores (repeated letters) still give the plain search's order.
TEST(FuzzySearchTest, AgreesWithThePlainSearch) {
  const auto title = [](const Item& item) { return item.title; };
  const auto forced = [](const Item& item) { return item.forced; };
  const auto titleView = [](const Item& item) -> std::optional<std::string_view> {
    if (!item.title) return std::nullopt;
    return std::string_view(*item.title);
  };
  const auto titleReference = [](const Item& item) -> const std::optional<std::string>& {
    return item.title;
  };
  const struct {
    unsigned seed;
    int rounds, items, length;
    std::vector<std::string> terms;
  } sizes[] = {{11, 200, 30, 16, {"abe", "xb"}},
               {5, 8, 400, 30, {"abe", "xb", "ab-e", "aa", "eae"}}};
  for (const auto& size : sizes) {
    std::mt19937 random(size.seed);
    for (int round = 0; round < size.rounds; ++round) {
      std::vector<Item> items;
      for (int i = 0; i < size.items; ++i) {
        Item item{std::to_string(i), randomText(random, size.length, round % 3 != 0), std::nullopt};
        if (random() % 6 == 0) item.title.reset();
        if (random() % 5 == 0) item.forced = random() % 2 == 0;
        items.push_back(item);
      }
      for (const auto& term : size.terms) {
        const Names expected = namesOf(literal::fuzzySearch(items, term, title, forced));
        ASSERT_EQ(namesOf(fuzzySearch(items, term, title, forced)), expected)
            << "round " << round << ", term " << term;
        // Texts given as views or references are scored a few elements after they are asked
        // for: the same result.
        ASSERT_EQ(namesOf(fuzzySearch(items, term, titleView, forced)), expected);
        ASSERT_EQ(namesOf(fuzzySearch(items, term, titleReference, forced)), expected);
      }
    }
  }
}

// The accessors are asked once per element, in element order, the text before the override,
// whatever kind of text they give.
TEST(FuzzySearchTest, AsksTheAccessorsInElementOrder) {
  std::vector<Item> items;
  for (int i = 0; i < 20; ++i) items.push_back({std::to_string(i), "hello", std::nullopt});
  std::string calls;
  const auto override = [&](const Item& item) {
    calls += "o" + item.name + " ";
    return std::optional<bool>();
  };
  const auto expected = [&] {
    std::string all;
    for (const auto& item : items) all += "t" + item.name + " o" + item.name + " ";
    return all;
  }();
  fuzzySearch(
      items, "he",
      [&](const Item& item) -> std::optional<std::string_view> {
        calls += "t" + item.name + " ";
        return std::string_view(*item.title);
      },
      override);
  EXPECT_EQ(calls, expected);
  calls.clear();
  fuzzySearch(
      items, "he",
      [&](const Item& item) {
        calls += "t" + item.name + " ";
        return item.title;
      },
      override);
  EXPECT_EQ(calls, expected);
}

}  // namespace
}  // namespace zorlan
