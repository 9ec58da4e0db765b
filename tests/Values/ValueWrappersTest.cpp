// zorlan/Values/CollectionUtilities.hpp, Stack.hpp, Countable.hpp, LoadingState.hpp,
// OptionalEquivalent.hpp: small value types and helpers on collections.
#include <gtest/gtest.h>

#include <any>
#include <array>
#include <deque>
#include <variant>

#include "zorlan/Values/CollectionUtilities.hpp"
#include "zorlan/Values/Countable.hpp"
#include "zorlan/Values/LoadingState.hpp"
#include "zorlan/Values/OptionalEquivalent.hpp"
#include "zorlan/Values/Stack.hpp"

namespace zorlan {
namespace {

using V = std::vector<int>;

TEST(CollectionUtilitiesTest, AppendingChunksPairsAndDuplicates) {
  EXPECT_EQ(appending(V{1, 2}, std::optional<int>(3), true), (V{1, 2, 3}));
  EXPECT_EQ(appending(V{1, 2}, std::optional<int>(3), false), (V{1, 2}));
  EXPECT_EQ(appending(V{1, 2}, std::optional<int>(), true), (V{1, 2}));
  // clang-format off
  const std::tuple<V, std::int64_t, std::vector<V>> chunks[] = {
      {{1, 2, 3}, 2, {{1, 2}, {3}}}, {{1, 2, 3}, 5, {{1, 2, 3}}}, {V{}, 3, std::vector<V>{}}};
  // clang-format on
  for (const auto& [elements, size, expected] : chunks) {
    EXPECT_EQ(chunked(elements, size), expected);
  }
  using P = std::vector<std::pair<int, int>>;
  EXPECT_EQ(paired(V{1, 2, 3}), (P{{1, 2}}));
  EXPECT_EQ(paired(V{1, 2, 3, 4}), (P{{1, 2}, {3, 4}}));
  EXPECT_EQ(removeDuplicates(V{3, 1, 3, 2, 1}), (V{3, 1, 2}));  // first-seen order
}

TEST(CollectionUtilitiesDeathTest, ChunkSizeMustBePositive) {
  EXPECT_DEATH(chunked(V{1, 2}, 0), "Chunk size");
}

TEST(CollectionUtilitiesTest, BoundsCheckedAccessAndInsertion) {
  const V v{10, 20, 30};
  const std::deque<int> deque(v.begin(), v.end());
  const std::pair<std::int64_t, std::optional<int>> accesses[] = {
      {0, 10}, {2, 30}, {3, std::nullopt}, {-1, std::nullopt}, {1LL << 40, std::nullopt}};
  for (const auto& [index, expected] : accesses) {
    EXPECT_EQ(safelyAt(v, index), expected) << index;
    EXPECT_EQ(safe(v, index), expected) << index;
    EXPECT_EQ(safe(deque, index), expected) << index;
  }
  EXPECT_EQ(safe(std::array<char, 2>{'x', 'y'}, 1), std::optional<char>('y'));
  const std::pair<std::int64_t, V> insertions[] = {
      {0, {9, 1, 2, 3}}, {3, {1, 2, 3, 9}}, {7, {1, 2, 3, 9}}, {-1, {1, 2, 3, 9}}};
  for (const auto& [at, expected] : insertions) {
    V target{1, 2, 3};
    insertSafely(target, 9, at);
    EXPECT_EQ(target, expected) << at;
  }
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

struct Playlist {  // countable through its own member
  std::vector<std::string> entries;
  bool isEmpty() const { return entries.empty(); }
};

TEST(StackTest, PopsInReverseOrderOfPushesThenGivesAbsentAndTellsEmptiness) {
  Stack<int> stack;
  EXPECT_TRUE(!stack.pop() && !stack.peek() && isEmpty(stack));
  stack.push(1);
  stack.push(2);
  EXPECT_EQ(stack.peek(), 2);  // and leaves it in place for the pops below
  EXPECT_FALSE(isEmpty(stack));
  EXPECT_EQ(stack.pop(), 2);
  EXPECT_EQ(stack.pop(), 1);
  // Built from items: the last one is the top; copies are independent.
  Stack<std::string> built{{"bottom", "top"}};
  Stack<std::string> copy = built;
  EXPECT_EQ(built.pop(), "top");
  EXPECT_EQ(copy.peek(), "top");
  EXPECT_NE(built, copy);
  copy.pop();
  EXPECT_EQ(built, copy);
  EXPECT_FALSE(isEmpty(std::vector<int>{0}));
  EXPECT_FALSE(isEmpty(Playlist{{"intro"}}));
}

// Conforms through its own members.
struct Volume {
  using WrappedValueType = int;
  static Volume empty() { return Volume{-1}; }
  int level = 0;
};

TEST(LoadingStateTest, OnlyLoadedHasAValueEvenAnAbsentOne) {
  using State = LoadingState<int>;
  EXPECT_NE(State::loaded(3), State::loaded(4));
  EXPECT_NE(State::loaded(0), State::unloaded());
  // A loaded optional that holds nothing differs from not being loaded.
  const auto state = LoadingState<std::optional<int>>::loaded(std::nullopt);
  EXPECT_TRUE(state.isLoaded());
  EXPECT_NE(state, LoadingState<std::optional<int>>::unloaded());
  EXPECT_EQ(emptyValue<std::optional<int>>(), std::nullopt);
  EXPECT_EQ(emptyValue<Volume>().level, -1);
}

}  // namespace
}  // namespace zorlan
