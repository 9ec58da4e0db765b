#include <gtest/gtest.h>

#include <any>
#include <array>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "zorlan/Values/CollectionUtilities.hpp"

namespace zorlan {
namespace {

using V = std::vector<int>;

TEST(CollectionUtilitiesTest, AppendingOnlyPresentElementsWhenAsked) {
  const V base{1, 2};
  EXPECT_EQ(appending(base, std::optional<int>(3), true), (V{1, 2, 3}));
  EXPECT_EQ(appending(base, std::optional<int>(3), false), base);
  EXPECT_EQ(appending(base, std::optional<int>(), true), base);
  EXPECT_EQ(base, (V{1, 2}));
}

TEST(CollectionUtilitiesTest, ChunksAndPairs) {
  struct Case {
    V elements;
    std::int64_t size;
    std::vector<V> chunks;
  };
  const Case cases[] = {
      {{1, 2, 3}, 2, {{1, 2}, {3}}},
      {{1, 2, 3}, 5, {{1, 2, 3}}},
      {{1, 2, 3}, 1, {{1}, {2}, {3}}},
      {{}, 3, {}},
  };
  for (const auto& c : cases) EXPECT_EQ(chunked(c.elements, c.size), c.chunks);

  using P = std::vector<std::pair<int, int>>;
  EXPECT_EQ(paired(V{1, 2, 3}), (P{{1, 2}}));
  EXPECT_EQ(paired(V{1, 2, 3, 4}), (P{{1, 2}, {3, 4}}));
  EXPECT_EQ(paired(V{1}), P{});
}

TEST(CollectionUtilitiesDeathTest, ChunkSizeMustBePositive) {
  EXPECT_DEATH(chunked(V{1, 2}, 0), "Chunk size");
  EXPECT_DEATH(chunked(V{1}, -2), "Chunk size");
}

TEST(CollectionUtilitiesTest, BoundsCheckedAccessAndInsertion) {
  const V v{10, 20, 30};
  struct Access {
    std::int64_t index;
    std::optional<int> expected;
  };
  const Access accesses[] = {
      {0, 10}, {2, 30}, {3, std::nullopt}, {-1, std::nullopt}, {1LL << 40, std::nullopt}};
  for (const auto& a : accesses) {
    EXPECT_EQ(safelyAt(v, a.index), a.expected) << a.index;
    EXPECT_EQ(safe(v, a.index), a.expected) << a.index;
    EXPECT_EQ(safe(std::deque<int>(v.begin(), v.end()), a.index), a.expected) << a.index;
  }
  EXPECT_EQ(safe(std::array<char, 2>{'x', 'y'}, 1), std::optional<char>('y'));

  struct Insertion {
    std::int64_t at;
    V expected;
  };
  const Insertion insertions[] = {
      {0, {9, 1, 2, 3}},
      {3, {1, 2, 3, 9}},
      {7, {1, 2, 3, 9}},
      {-1, {1, 2, 3, 9}},
  };
  for (const auto& i : insertions) {
    V target{1, 2, 3};
    insertSafely(target, 9, i.at);
    EXPECT_EQ(target, i.expected) << i.at;
  }
}

TEST(CollectionUtilitiesTest, RemoveDuplicatesKeepsFirstSeenOrder) {
  EXPECT_EQ(removeDuplicates(V{3, 1, 3, 2, 1}), (V{3, 1, 2}));
  EXPECT_EQ(removeDuplicates(std::vector<std::string>{"b", "a", "b", "b"}),
            (std::vector<std::string>{"b", "a"}));
}

struct Shape {
  virtual ~Shape() = default;
};
struct Circle : Shape {
  int radius = 0;
  explicit Circle(int r) : radius(r) {}
};
struct Square : Shape {};

TEST(CollectionUtilitiesTest, FirstOfType) {
  const std::vector<std::shared_ptr<Shape>> shapes = {
      std::make_shared<Square>(), std::make_shared<Circle>(1), std::make_shared<Circle>(2)};
  ASSERT_NE(firstOfType<Circle>(shapes), nullptr);
  EXPECT_EQ(firstOfType<Circle>(shapes)->radius, 1);
  EXPECT_EQ(firstOfType<Circle>(std::vector<std::shared_ptr<Shape>>{std::make_shared<Square>()}),
            nullptr);

  const std::vector<std::variant<int, std::string>> mixed = {1, std::string("a"), std::string("b")};
  EXPECT_EQ(firstOfType<std::string>(mixed), std::optional<std::string>("a"));

  const std::vector<std::any> anything = {std::string("s"), 2.5, 7};
  EXPECT_EQ(firstOfType<int>(anything), std::optional<int>(7));
  EXPECT_EQ(firstOfType<float>(anything), std::nullopt);
}

}  // namespace
}  // namespace zorlan
