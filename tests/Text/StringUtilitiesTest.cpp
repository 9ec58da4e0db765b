#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "zorlan/Platform/Unicode.hpp"
#include "zorlan/Text/StringUtilities.hpp"

namespace zorlan {
namespace {

// Multi-byte characters.
const std::string kFamily =
    "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9\xe2\x80\x8d\xf0\x9f\x91\xa7";  // joined by ZWJ
const std::string kFlagFR = "\xf0\x9f\x87\xab\xf0\x9f\x87\xb7";
const std::string kFlagDE = "\xf0\x9f\x87\xa9\xf0\x9f\x87\xaa";
const std::string kRegionalF = "\xf0\x9f\x87\xab";
const std::string kDecomposedE = "e\xcc\x81";
const std::string kThumbDark = "\xf0\x9f\x91\x8d\xf0\x9f\x8f\xbf";  // with skin tone
const std::string kEllipsis = "\xe2\x80\xa6";
const std::string kHangulL = "\xe1\x84\x80";  // leading consonant: copies never separate

TEST(StringUtilitiesTest, CountsUserPerceivedCharacters) {
  struct Case {
    std::string text;
    std::size_t count;
  };
  const Case cases[] = {
      {"", 0},
      {"abc", 3},
      {kFamily, 1},
      {kFlagFR + kFlagDE, 2},
      {kDecomposedE, 1},
      {"a\r\nb", 3},
      {kThumbDark + "x", 2},
      {kRegionalF + kFlagFR, 2},
      {"\xff\xfe", 2},  // ill-formed bytes count one each
      {"ab\xcc\x81"
       "c",
       3},
      {"a\xcc\x81\xcc\x82"
       "b\r\n",
       3},
      {"x " + kFlagFR + kFlagDE + "y", 5},
  };
  for (const auto& c : cases) EXPECT_EQ(unicode::characterCount(c.text), c.count) << c.text;
}

TEST(StringUtilitiesTest, TruncateCountsCharactersNotBytes) {
  struct Case {
    std::string text;
    std::int64_t length;
    std::string with;
    std::string expected;
  };
  const Case cases[] = {
      {"abcd", 3, kEllipsis, "abc" + kEllipsis},
      {"abcdefghij", 5, ".", "abcde."},  // the ellipsis is not counted
      {"abc", 0, "...", "..."},
      {kFamily + kFamily + "x", 1, "~", kFamily + "~"},
      {kFlagFR + kFlagDE + kFlagFR, 2, "", kFlagFR + kFlagDE},
      {"caf" + kDecomposedE + "s", 4, "!", "caf" + kDecomposedE + "!"},
      {kThumbDark + kThumbDark, 1, "", kThumbDark},
      {"a\r\nb", 2, "", "a\r\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(truncate(c.text, c.length, c.with), c.expected) << c.text << " to " << c.length;
  }
}

TEST(StringUtilitiesDeathTest, TruncateToANegativeLengthStops) {
  EXPECT_DEATH(truncate("abc", -1, ""), "negative length");
}

TEST(StringUtilitiesTest, AppendUntilRepeatsTheLastCharacter) {
  struct Case {
    std::string text;
    std::int64_t length;
    std::string expected;
  };
  const Case cases[] = {
      {"ab", 5, "abbbb"},
      {"", 5, ""},
      {"abcd", 2, "abcd"},
      {"ab", -1, "ab"},
      {kFlagFR, 3, kFlagFR + kFlagFR + kFlagFR},
      {"a" + kDecomposedE, 3, "a" + kDecomposedE + kDecomposedE},
      // A lone regional indicator pairs with its copies: it takes two per flag.
      {"a" + kRegionalF, 4, "a" + kRegionalF + kRegionalF + kRegionalF + kRegionalF + kRegionalF},
  };
  for (const auto& c : cases) {
    const std::string result = appendUntil(c.text, c.length);
    EXPECT_EQ(result, c.expected) << c.text << " until " << c.length;
  }
  // Copies that never separate end the padding instead of looping.
  const std::string hangul = appendUntil("a" + kHangulL, 10);
  EXPECT_EQ(unicode::characterCount(hangul), 2u);
  EXPECT_LE(hangul.size(), 1 + 3 * kHangulL.size());
}

TEST(StringUtilitiesTest, TrimsWhiteSpaceAndNewlinesAtBothEnds) {
  struct Case {
    std::string text;
    std::string expected;
  };
  const Case cases[] = {
      {"  a b  ", "a b"},
      {"\t\n\r\v\f a \x0b", "a"},
      {"\xc2\xa0"
       "a"
       "\xe2\x80\x83",
       "a"},  // no-break space, em space
      {"\xc2\x85"
       "a"
       "\xe3\x80\x80",
       "a"},  // next line, ideographic space
      {"\xe2\x80\x8b"
       "a",
       "\xe2\x80\x8b"
       "a"},  // zero-width space is not white space
      {" " + kDecomposedE + " ", kDecomposedE},
      {" \xcc\x81"
       "a",
       "\xcc\x81"
       "a"},  // scalar by scalar: the mark stays
      {" \xff ", "\xff"},
  };
  for (const auto& c : cases) EXPECT_EQ(trimWhitespaceAndNewLines(c.text), c.expected) << c.text;
}

TEST(StringUtilitiesTest, RemovesOccurrencesLeftToRight) {
  struct Case {
    const char* text;
    const char* occurrence;
    const char* expected;
  };
  const Case cases[] = {
      {"a-b-c", "-", "abc"}, {"aaa", "aa", "a"},  {"abab", "ab", ""},  {"abc", "", "abc"},
      {"", "x", ""},         {"xaax", "a", "xx"}, {"AbA", "a", "AbA"},  // literal: case matters
  };
  for (const auto& c : cases) {
    EXPECT_EQ(removeOccurrences(c.text, c.occurrence), c.expected) << c.text;
  }
}

TEST(StringUtilitiesTest, OptionalStrings) {
  EXPECT_EQ(nonEmpty(""), std::nullopt);
  EXPECT_EQ(nonEmpty("a"), std::optional<std::string>("a"));
  EXPECT_EQ(valueOrEmpty(std::nullopt), "");
  EXPECT_EQ(valueOrEmpty(std::string("x")), "x");
  EXPECT_TRUE(isNilOrEmpty(std::nullopt));
  EXPECT_FALSE(isNilOrEmpty(std::string(" ")));
}

TEST(UnicodeTest, LowerCasesAndComposes) {
  EXPECT_EQ(unicode::lowercased("\xc3\x80"
                                "B"),
            "\xc3\xa0"
            "b");
  EXPECT_EQ(unicode::lowercased("\xc4\xb0"), "i\xcc\x87");  // İ: i with a dot above
  EXPECT_EQ(unicode::normalizedNFC(kDecomposedE), "\xc3\xa9");
  EXPECT_EQ(unicode::normalizedNFC("\xff"), "\xef\xbf\xbd");
}

}  // namespace
}  // namespace zorlan
