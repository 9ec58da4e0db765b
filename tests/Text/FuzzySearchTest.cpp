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

TEST(FuzzyMatchScoreTest, WorkedValues) {
  struct Case {
    const char* candidate;
    const char* term;
    std::optional<float> expected;  // NaN below
  };
  const float kHalfGap = 2.0f - std::sqrt(2.0f);
  const Case cases[] = {
      {"hello", "hl", 1.0f},
      {"hello", "he", 2.0f},
      {"hello", "hel", 3.0f},
      {"hello", "ho", 2.0f - std::sqrt(3.0f)},  // the gap of three costs √3
      {"Apple", "AP", 2.0f},
      {"Apple", "ap", 2.0f},
      {"apple", "AP", 2.0f},
      {"Apple", "x", std::nullopt},
      {"Apple", "", std::nullopt},
      {"", "a", std::nullopt},
      {"Apple", "xa", std::nullopt},  // only the first character is required...
      {"Apple", "ax", std::nullopt},  // ...but the last must match somewhere
      {"Apple", "aex", std::nullopt},
      {"Apple", "apx", std::nullopt},
      {"Apple", "aze", 1.0f},       // an unchained character starts over at 1.0
      {"axbxxc", "abc", kHalfGap},  // b follows a after a gap of 1, c after a gap of 2
      {"abcabc", "c", 1.0f},
      // The first-character rule lower-cases the candidate as a whole text,
      // where a capital sigma ending a word becomes a final sigma; compared
      // one by one, the characters lower-case on their own (Σ to σ).
      {"\xce\x91\xce\xa3", "\xcf\x82\xce\xb1", 1.0f},          // ΑΣ / ςα
      {"\xce\x91\xce\xa3", "\xcf\x83\xce\xb1", std::nullopt},  // ΑΣ / σα
      {"\xce\xa3\xce\x91", "\xcf\x83\xce\xb1", 2.0f},          // ΣΑ / σα
      // First characters beyond ASCII.
      {"\xc3\x89t\xc3\xa9", "\xc3\xa9t", 2.0f},     // Été / ét
      {"ete", "\xc3\xa9t", std::nullopt},           // ete / ét
      {"Ete\xcc\x81 sans fin", "\xc3\xa9s", 1.0f},  // Eté (e + U+0301) / és
      {"Tokyo \xe6\x9d\xb1\xe4\xba\xac", "\xe6\x9d\xb1\xe4\xba\xac", 2.0f},  // 東京 / 東京
      {"\xe6\x9d\xb1\xe4\xba\xac", "\xe4\xba\xac\xe6\x9d\xb1", 1.0f},        // 東京 / 京東
  };
  for (const auto& c : cases) {
    const auto score = fuzzyMatchScore(c.candidate, c.term);
    EXPECT_EQ(score.has_value(), c.expected.has_value()) << c.candidate << " / " << c.term;
    if (score && c.expected) {
      EXPECT_EQ(bitsOf(*score), bitsOf(*c.expected))
          << c.candidate << " / " << c.term << ": " << describe(score);
    }
  }
  const auto nan = fuzzyMatchScore("ab", "aa");
  ASSERT_TRUE(nan.has_value());
  EXPECT_TRUE(std::isnan(*nan));
  // A NaN entry first in the last row stays the result.
  const auto hello = fuzzyMatchScore("hello", "ll");
  ASSERT_TRUE(hello.has_value());
  EXPECT_TRUE(std::isnan(*hello));
}

TEST(FuzzyMatchScoreTest, CharactersAreGraphemesComparedByLowerCaseForm) {
  const std::string decomposedE = "e\xcc\x81";  // e + U+0301
  const std::string composedE = "\xc3\xa9";     // é
  const std::string upperComposedE = "\xc3\x89";
  // The composed and decomposed forms are the same character.
  EXPECT_EQ(fuzzyMatchScore("caf" + decomposedE, "f" + composedE), 2.0f);
  EXPECT_EQ(fuzzyMatchScore("CAF" + upperComposedE, "f" + decomposedE), 2.0f);
  // e with an accent is not e.
  EXPECT_EQ(fuzzyMatchScore("caf" + composedE, "fe"), std::nullopt);
  // A family of four joined with U+200D is one character: the gap to "x" is 0.
  const std::string family =
      "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9\xe2\x80\x8d\xf0\x9f\x91\xa7\xe2\x80\x8d\xf0"
      "\x9f\x91\xa6";
  EXPECT_EQ(fuzzyMatchScore("a" + family + "b", "ab"), 1.0f);
  EXPECT_EQ(fuzzyMatchScore("a" + family + "b", "a" + family), 2.0f);
  // The Kelvin sign lower-cases to k.
  EXPECT_EQ(fuzzyMatchScore("Kiwi",
                            "\xe2\x84\xaa"
                            "i"),
            2.0f);
  // CR LF is one character.
  EXPECT_EQ(fuzzyMatchScore("a\r\nb", "ab"), 1.0f);
  EXPECT_EQ(fuzzyMatchScore("a\r\nb", "a\r\nb"), 3.0f);
  // A lone CR is not the CR LF character: the chain breaks and b starts over.
  EXPECT_EQ(fuzzyMatchScore("a\r\nb", "a\rb"), 1.0f);
  EXPECT_EQ(fuzzyMatchScore("a\r\nb", "a\r"), std::nullopt);
}

// Random texts over an alphabet with upper and lower case, repeated letters
// (for NaN scores), combining marks, composed letters, emoji sequences and
// separators, so both the byte-level and the Unicode paths are exercised.
std::string randomText(std::mt19937& random, int maxCharacters, bool asciiOnly) {
  static const std::vector<std::string> kAscii = {"a",    "b",  "c",  "A", "B", "x", " ",
                                                  "\r\n", "\r", "\n", "-", "e", "E"};
  static const std::vector<std::string> kUnicode = {
      "\xc3\xa9",
      "e\xcc\x81",
      "\xc3\x89",
      "\xce\xa3",  // é, e+◌́, É, Σ
      "\xcf\x83",
      "\xcf\x82",
      "\xc3\x9f",
      "\xe2\x84\xaa",                                  // σ ς ß K
      "\xf0\x9f\x87\xab\xf0\x9f\x87\xb7",              // flag
      "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9",  // joined pair
      "\xcc\x81",                                      // a lone combining mark
      "\xc4\xb0",                                      // İ
      "\xe6\x9d\xb1",                                  // 東
      "\xf0\x9f\x91\x8d\xf0\x9f\x8f\xbd",              // thumbs up, skin tone
      "\xed\x95\x9c",                                  // 한 (Hangul)
  };
  std::uniform_int_distribution<int> length(0, maxCharacters);
  std::string text;
  const int count = length(random);
  for (int i = 0; i < count; ++i) {
    const bool unicode = !asciiOnly && random() % 4 == 0;
    const auto& pool = unicode ? kUnicode : kAscii;
    text += pool[random() % pool.size()];
  }
  return text;
}

TEST(FuzzyMatchScoreTest, MatchesThePlainAlgorithmBitForBit) {
  std::mt19937 random(7);
  int present = 0;
  int nans = 0;
  for (int round = 0; round < 6000; ++round) {
    const bool asciiOnly = round % 2 == 0;
    const std::string candidate = randomText(random, 24, asciiOnly);
    const std::string term = randomText(random, 5, asciiOnly);
    const auto fast = fuzzyMatchScore(candidate, term);
    const auto plain = literal::fuzzyMatchScore(candidate, term);
    ASSERT_EQ(fast.has_value(), plain.has_value()) << '"' << candidate << "\" / \"" << term << '"';
    if (fast) {
      ++present;
      if (std::isnan(*fast)) ++nans;
      ASSERT_EQ(bitsOf(*fast), bitsOf(*plain))
          << '"' << candidate << "\" / \"" << term << "\": " << describe(fast) << " vs "
          << describe(plain);
    }
  }
  // The sample covers scores and NaN scores, not only absent ones.
  EXPECT_GT(present, 1000);
  EXPECT_GT(nans, 100);
}

// Every two-byte character, alone, next to ASCII, doubled, before a combining
// mark (which joins it into one character) and after CR: the same score as the
// plain algorithm, bit for bit.
TEST(FuzzyMatchScoreTest, EveryTwoByteCharacterScoresAsThePlainAlgorithm) {
  const auto utf8 = [](std::uint32_t c) {
    return std::string{static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
  };
  for (std::uint32_t c = 0x80; c < 0x800; ++c) {
    const std::string x = utf8(c);
    const std::string candidates[] = {"a" + x + "b" + x,
                                      x +
                                          "\xcc\x81"
                                          "b" +
                                          x,
                                      "\r" + x + "Ab", x + x + "a"};
    const std::string terms[] = {x + "b", "a" + x, x + x, "b"};
    for (const auto& candidate : candidates) {
      for (const auto& term : terms) {
        const auto fast = fuzzyMatchScore(candidate, term);
        const auto plain = literal::fuzzyMatchScore(candidate, term);
        ASSERT_EQ(fast.has_value(), plain.has_value())
            << "U+" << std::hex << c << " in " << candidate << " / " << term;
        if (fast) {
          ASSERT_EQ(bitsOf(*fast), bitsOf(*plain)) << "U+" << std::hex << c;
        }
      }
    }
  }
}

// Terms longer than 64 characters, terms whose first character is not ASCII
// and terms repeating one letter many times are scored without the one-pass
// scorer; the results are the same.
TEST(FuzzyMatchScoreTest, LongAndNonAsciiTermsScoreAsThePlainAlgorithm) {
  for (std::size_t repeats = 1; repeats <= 7; ++repeats) {
    for (const std::string& term :
         {std::string(repeats, 'a') + "b", "b" + std::string(repeats, 'A')}) {
      for (const char* candidate : {"aaaaaaaab", "b a a a a a a a", "ab-ba-aab", "BAAAAAAAAAA"}) {
        const auto fast = fuzzyMatchScore(candidate, term);
        const auto plain = literal::fuzzyMatchScore(candidate, term);
        ASSERT_EQ(describe(fast), describe(plain)) << candidate << " / " << term;
      }
    }
  }
  std::mt19937 random(3);
  for (int round = 0; round < 300; ++round) {
    const std::string candidate = randomText(random, 90, round % 2 == 0);
    std::string term = round % 3 == 0 ? "\xc3\x89" : "";
    while (term.size() < 70) term += randomText(random, 8, true);
    const auto fast = fuzzyMatchScore(candidate, term);
    const auto plain = literal::fuzzyMatchScore(candidate, term);
    ASSERT_EQ(fast.has_value(), plain.has_value()) << round;
    if (fast) {
      ASSERT_EQ(bitsOf(*fast), bitsOf(*plain)) << round;
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

TEST(FuzzySearchTest, AgreesWithThePlainSearch) {
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    std::vector<Item> items;
    for (int i = 0; i < 30; ++i) {
      Item item{std::to_string(i), randomText(random, 16, round % 3 != 0), std::nullopt};
      if (random() % 6 == 0) item.title.reset();
      if (random() % 5 == 0) item.forced = random() % 2 == 0;
      items.push_back(item);
    }
    // Terms without repeated letters give no NaN, so the order is defined.
    const std::string term = round % 2 == 0 ? "abe" : "xb";
    const auto title = [](const Item& item) { return item.title; };
    const auto forced = [](const Item& item) { return item.forced; };
    ASSERT_EQ(namesOf(fuzzySearch(items, term, title, forced)),
              namesOf(literal::fuzzySearch(items, term, title, forced)))
        << "round " << round;
  }
}

// Large result sets: equal, negative and forced scores keep the input order
// among equals; with NaN scores the order is still the plain search's.
TEST(FuzzySearchTest, LargeSearchesAgreeWithThePlainSearch) {
  std::mt19937 random(5);
  const std::string terms[] = {"abe", "xb", "ab-e", "aa", "eae"};
  for (int round = 0; round < 8; ++round) {
    std::vector<Item> items;
    for (int i = 0; i < 400; ++i) {
      Item item{std::to_string(i), randomText(random, 30, round % 4 != 0), std::nullopt};
      if (random() % 10 == 0) item.forced = random() % 3 != 0;
      items.push_back(item);
    }
    for (const auto& term : terms) {
      const auto title = [](const Item& item) { return item.title; };
      const auto forced = [](const Item& item) { return item.forced; };
      ASSERT_EQ(namesOf(fuzzySearch(items, term, title, forced)),
                namesOf(literal::fuzzySearch(items, term, title, forced)))
          << "round " << round << ", term " << term;
    }
  }
}

}  // namespace
}  // namespace zorlan
