#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorlan/Text/AttributedStringUtilities.hpp"

namespace zorlan {
namespace {

const TextAttributes kBold{{"font", "bold"}};
const TextAttributes kRed{{"color", "red"}};

std::vector<std::string> textsOf(const std::vector<AttributedString>& pieces) {
  std::vector<std::string> texts;
  for (const auto& piece : pieces) texts.push_back(piece.string());
  return texts;
}

using Texts = std::vector<std::string>;

TEST(AttributedStringTest, ConcatenationKeepsEachSidesAttributes) {
  const AttributedString bold("ab", kBold);
  const AttributedString red("cd", kRed);
  const AttributedString both = bold + red;
  EXPECT_EQ(both.string(), "abcd");
  EXPECT_EQ(both.attributesAt(1), kBold);
  EXPECT_EQ(both.attributesAt(2), kRed);
  const AttributedString plain = bold + "xy";
  EXPECT_EQ(plain.string(), "abxy");
  EXPECT_EQ(plain.attributesAt(2), TextAttributes{});
  EXPECT_EQ(plain.runs().size(), 2u);
  // Equal neighbours merge into one run.
  EXPECT_EQ((bold + AttributedString("c", kBold)).runs().size(), 1u);
}

TEST(AttributedStringTest, JoinedPutsPlainSeparatorsBetween) {
  const std::vector<AttributedString> parts = {AttributedString("a", kBold),
                                               AttributedString("b", kRed)};
  const AttributedString list = joined(parts, ", ");
  EXPECT_EQ(list.string(), "a, b");
  EXPECT_EQ(list.attributesAt(0), kBold);
  EXPECT_EQ(list.attributesAt(1), TextAttributes{});
  EXPECT_EQ(list.attributesAt(3), kRed);
  EXPECT_EQ(joined({}, ", "), AttributedString());
}

TEST(AttributedStringTest, EmptyAndNonEmpty) {
  EXPECT_TRUE(emptyAttributedString().isEmpty());
  EXPECT_EQ(nonEmpty(AttributedString()), std::nullopt);
  EXPECT_EQ(nonEmpty(AttributedString("", kBold)), std::nullopt);
  ASSERT_TRUE(nonEmpty(AttributedString("a", kBold)).has_value());
  EXPECT_EQ(nonEmpty(AttributedString("a", kBold))->attributesAt(0), kBold);
}

TEST(AttributedStringTest, ChunkedCutsAtTheEarliestSeparator) {
  struct Case {
    std::string text;
    std::vector<std::string> separators;
    Texts pieces;
  };
  const Case cases[] = {
      {"a,,b,", {","}, {"a", "", "b", ""}},
      {"abc", {}, {"abc"}},
      {"", {","}, {""}},
      {"a;b,c", {",", ";"}, {"a", "b", "c"}},
      {"a, b,c", {",", ", "}, {"a", "b", "c"}},   // same start: the later one wins
      {"a, b,c", {", ", ","}, {"a", " b", "c"}},  // same start: the later one wins
      {"a--b-c", {"--", "-"}, {"a", "", "b", "c"}},
      {"abc", {""}, {"abc"}},  // an empty separator is never found
      {"x ab y ab", {"ab"}, {"x ", " y ", ""}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(textsOf(chunked(AttributedString(c.text), c.separators)), c.pieces) << c.text;
  }
  // Pieces keep their attributes; separators belong to no piece.
  const AttributedString styled =
      AttributedString("ab", kBold) + AttributedString("|", kRed) + AttributedString("cd", kRed);
  const auto pieces = chunked(styled, {"|"});
  ASSERT_EQ(pieces.size(), 2u);
  EXPECT_EQ(pieces[0], AttributedString("ab", kBold));
  EXPECT_EQ(pieces[1], AttributedString("cd", kRed));
  const auto split = chunked(AttributedString("ab", kBold) + AttributedString("cd", kRed), {"x"});
  ASSERT_EQ(split.size(), 1u);
  EXPECT_EQ(split[0].runs().size(), 2u);
}

}  // namespace
}  // namespace zorlan
