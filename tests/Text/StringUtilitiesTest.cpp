// zorlan/Text/StringUtilities.hpp (with the Unicode segmentation it builds on): counting,
// truncating, padding, trimming and removing by user-perceived characters.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "zorlan/Platform/Unicode.hpp"
#include "zorlan/Text/StringUtilities.hpp"

namespace zorlan {
namespace {

// Multi-byte characters.
const std::string kFamily =  // joined by ZWJ
    "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9\xe2\x80\x8d\xf0\x9f\x91\xa7";
const std::string kFR = "\xf0\x9f\x87\xab\xf0\x9f\x87\xb7";  // flags
const std::string kDE = "\xf0\x9f\x87\xa9\xf0\x9f\x87\xaa";
const std::string kF = "\xf0\x9f\x87\xab";                      // a lone regional indicator
const std::string kE = "e\xcc\x81";                             // decomposed é
const std::string kThumb = "\xf0\x9f\x91\x8d\xf0\x9f\x8f\xbf";  // with skin tone
const std::string kHangulL = "\xe1\x84\x80";  // leading consonant: copies never separate

TEST(StringUtilitiesTest, CountsAndTruncatesUserPerceivedCharacters) {
  // clang-format off
  const std::pair<std::string, std::size_t> counts[] = {
      {"", 0}, {kFamily, 1}, {kFR + kDE, 2}, {kE, 1}, {"a\r\nb", 3}, {kThumb + "x", 2},
      {kF + kFR, 2}, {"\xff\xfe", 2} /* ill-formed bytes count one each */,
      {"a\xcc\x81\xcc\x82" "b\r\n", 3}};
  const struct {
    std::string text;
    std::int64_t length;
    std::string with, expected;
  } truncations[] = {
      {"abcd", 3, "\xe2\x80\xa6", "abc\xe2\x80\xa6"}, {"abc", 0, "...", "..."},
      {kFamily + kFamily + "x", 1, "~", kFamily + "~"}, {kFR + kDE + kFR, 2, "", kFR + kDE},
      {"caf" + kE + "s", 4, "!", "caf" + kE + "!"}, {"a\r\nb", 2, "", "a\r\n"}};
  // clang-format on
  for (const auto& [text, count] : counts) EXPECT_EQ(unicode::characterCount(text), count) << text;
  for (const auto& c : truncations) {
    EXPECT_EQ(truncate(c.text, c.length, c.with), c.expected) << c.text << " to " << c.length;
  }
}

TEST(StringUtilitiesDeathTest, TruncateToANegativeLengthStops) {
  EXPECT_DEATH(truncate("abc", -1, ""), "negative length");
}

TEST(StringUtilitiesTest, AppendUntilRepeatsTheLastCharacter) {
  // clang-format off
  const struct {
    std::string text;
    std::int64_t length;
    std::string expected;
  } cases[] = {
      {"ab", 5, "abbbb"}, {"", 5, ""}, {"abcd", 2, "abcd"}, {"ab", -1, "ab"},
      {kFR, 3, kFR + kFR + kFR}, {"a" + kE, 3, "a" + kE + kE},
      // A lone regional indicator pairs with its copies: it takes two per flag.
      {"a" + kF, 4, "a" + kF + kF + kF + kF + kF}};
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(appendUntil(c.text, c.length), c.expected) << c.text << " until " << c.length;
  }
  // Copies that never separate end the padding instead of looping.
  const std::string hangul = appendUntil("a" + kHangulL, 10);
  EXPECT_EQ(unicode::characterCount(hangul), 2u);
  EXPECT_LE(hangul.size(), 1 + 3 * kHangulL.size());
}

TEST(StringUtilitiesTest, TrimsWhiteSpaceAndRemovesOccurrences) {
  // clang-format off
  const std::pair<std::string, std::string> trims[] = {
      {"  a b  ", "a b"}, {"\t\n\r\v\f a \x0b", "a"},
      {"\xc2\xa0" "a" "\xe2\x80\x83", "a"},  // no-break space, em space
      {"\xc2\x85" "a" "\xe3\x80\x80", "a"},  // next line, ideographic space
      {"\xe2\x80\x8b" "a", "\xe2\x80\x8b" "a"},  // zero-width space is not white space
      {" " + kE + " ", kE}, {" \xcc\x81" "a", "\xcc\x81" "a"},  // scalar by scalar: the mark stays
      {" \xff ", "\xff"}};
  const std::tuple<const char*, const char*, const char*> removals[] = {
      {"aaa", "aa", "a"}, {"abab", "ab", ""}, {"abc", "", "abc"}, {"", "x", ""},
      {"AbA", "a", "AbA"}};  // literal: case matters
  // clang-format on
  for (const auto& [text, trimmed] : trims) EXPECT_EQ(trimWhitespaceAndNewLines(text), trimmed);
  for (const auto& [text, occurrence, rest] : removals) {
    EXPECT_EQ(removeOccurrences(text, occurrence), rest) << text;
  }
  EXPECT_EQ(std::pair(nonEmpty(""), nonEmpty("a")),
            std::pair(std::optional<std::string>(), std::optional<std::string>("a")));
  EXPECT_EQ(std::pair(valueOrEmpty(std::nullopt), valueOrEmpty(std::string("x"))),
            std::pair(std::string(), std::string("x")));
  EXPECT_TRUE(isNilOrEmpty(std::nullopt) && !isNilOrEmpty(std::string(" ")));
}

TEST(UnicodeTest, LowerCasesAndComposes) {
  EXPECT_EQ(unicode::lowercased("\u00C0B"), "\u00E0b");
  EXPECT_EQ(unicode::lowercased("\u0130"), "i\u0307");  // İ: i with a dot above
  EXPECT_EQ(unicode::normalizedNFC(kE), "\u00E9");
  EXPECT_EQ(unicode::normalizedNFC("\xff"), "\uFFFD");
}

}  // namespace
}  // namespace zorlan
