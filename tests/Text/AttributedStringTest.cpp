// zorlan/Text/AttributedStringUtilities.hpp: concatenation, joining, emptiness and chunking of
// attributed strings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorlan/Text/AttributedStringUtilities.hpp"

namespace zorlan {
namespace {

const TextAttributes kBold{{"font", "bold"}};
const TextAttributes kRed{{"color", "red"}};
using Texts = std::vector<std::string>;

TEST(AttributedStringTest, ConcatenatedAndJoinedPiecesKeepTheirAttributes) {
  const AttributedString bold("ab", kBold);
  const AttributedString both = bold + AttributedString("cd", kRed);
  EXPECT_EQ(both.string(), "abcd");
  EXPECT_EQ(both.attributesAt(1), kBold);
  EXPECT_EQ(both.attributesAt(2), kRed);
  const AttributedString plain = bold + "xy";
  EXPECT_EQ(plain.attributesAt(2), TextAttributes{});
  EXPECT_EQ(plain.runs().size(), 2u);
  EXPECT_EQ((bold + AttributedString("c", kBold)).runs().size(), 1u);  // equal neighbours merge

  const AttributedString list =
      joined({AttributedString("a", kBold), AttributedString("b", kRed)}, ", ");
  EXPECT_EQ(list.string(), "a, b");
  EXPECT_EQ(list.attributesAt(0), kBold);
  EXPECT_EQ(list.attributesAt(1), TextAttributes{});  // plain separators
  EXPECT_EQ(list.attributesAt(3), kRed);
  EXPECT_EQ(joined({}, ", "), emptyAttributedString());

  EXPECT_EQ(nonEmpty(AttributedString()), std::nullopt);
  EXPECT_EQ(nonEmpty(AttributedString("", kBold)), std::nullopt);
  EXPECT_EQ(nonEmpty(AttributedString("a", kBold)), AttributedString("a", kBold));
}

TEST(AttributedStringTest, ChunkedCutsAtTheEarliestSeparator) {
  // clang-format off
  const struct {
    std::string text;
    Texts separators, pieces;
  } cases[] = {
      {"a,,b,", {","}, {"a", "", "b", ""}},       {"abc", {}, {"abc"}},
      {"", {","}, {""}},                          {"a;b,c", {",", ";"}, {"a", "b", "c"}},
      {"a, b,c", {",", ", "}, {"a", "b", "c"}},   // same start: the later one wins
      {"a, b,c", {", ", ","}, {"a", " b", "c"}},  // same start: the later one wins
      {"a--b-c", {"--", "-"}, {"a", "", "b", "c"}},
      {"abc", {""}, {"abc"}}};  // an empty separator is never found
  // clang-format on
  for (const auto& c : cases) {
    Texts texts;
    for (const auto& piece : chunked(AttributedString(c.text), c.separators)) {
      texts.push_back(piece.string());
    }
    EXPECT_EQ(texts, c.pieces) << c.text;
  }
  // Pieces keep their attributes; separators belong to no piece.
  const AttributedString styled =
      AttributedString("ab", kBold) + AttributedString("|", kRed) + AttributedString("cd", kRed);
  EXPECT_EQ(chunked(styled, {"|"}), (std::vector<AttributedString>{AttributedString("ab", kBold),
                                                                   AttributedString("cd", kRed)}));
  const auto whole = chunked(AttributedString("ab", kBold) + AttributedString("cd", kRed), {"x"});
  ASSERT_EQ(whole.size(), 1u);
  EXPECT_EQ(whole[0].runs().size(), 2u);
}

}  // namespace
}  // namespace zorlan
