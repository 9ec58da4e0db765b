#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "zorlan/Values/Countable.hpp"
#include "zorlan/Values/LoadingState.hpp"
#include "zorlan/Values/OptionalEquivalent.hpp"
#include "zorlan/Values/Stack.hpp"

namespace zorlan {
namespace {

TEST(StackTest, PopsInReverseOrderOfPushesThenGivesAbsent) {
  Stack<int> stack;
  EXPECT_EQ(stack.pop(), std::nullopt);
  EXPECT_EQ(stack.peek(), std::nullopt);
  stack.push(1);
  stack.push(2);
  EXPECT_EQ(stack.items, (std::vector<int>{1, 2}));
  EXPECT_EQ(stack.peek(), 2);
  EXPECT_EQ(stack.items.size(), 2u);  // peek leaves the top in place
  EXPECT_EQ(stack.pop(), 2);
  EXPECT_EQ(stack.pop(), 1);
  EXPECT_TRUE(stack.isEmpty());
  // Built from items: the last one is the top; copies are independent.
  Stack<std::string> built{{"bottom", "top"}};
  Stack<std::string> copy = built;
  EXPECT_EQ(built.pop(), "top");
  EXPECT_EQ(copy.peek(), "top");
  EXPECT_NE(built, copy);
  copy.pop();
  EXPECT_EQ(built, copy);
}

TEST(LoadingStateTest, OnlyLoadedHasAValueEvenAnAbsentOne) {
  using State = LoadingState<int>;
  EXPECT_EQ(State::loaded(3).value(), 3);
  EXPECT_EQ(State::unloaded().value(), std::nullopt);
  EXPECT_EQ(State(), State::unloaded());
  EXPECT_EQ(State::loaded(3), State::loaded(3));
  EXPECT_NE(State::loaded(3), State::loaded(4));
  EXPECT_NE(State::loaded(0), State::unloaded());
  // A loaded optional that holds nothing differs from not being loaded.
  const auto state = LoadingState<std::optional<int>>::loaded(std::nullopt);
  EXPECT_TRUE(state.isLoaded());
  ASSERT_TRUE(state.value().has_value());
  EXPECT_NE(state, LoadingState<std::optional<int>>::unloaded());
}

struct NoComparison {};
static_assert(!std::equality_comparable<LoadingState<NoComparison>>);

// A type that conforms through its own members.
struct Volume {
  using WrappedValueType = int;
  static Volume empty() { return Volume{-1}; }
  int level = 0;
};

TEST(OptionalEquivalentTest, OptionalsAndConformingTypesGiveTheirEmptyValue) {
  static_assert(OptionalEquivalent<std::optional<int>>);
  static_assert(OptionalEquivalent<Volume>);
  static_assert(!OptionalEquivalent<int>);
  static_assert(std::is_same_v<WrappedValueType<std::optional<std::string>>, std::string>);
  static_assert(std::is_same_v<WrappedValueType<Volume>, int>);

  EXPECT_EQ(emptyValue<std::optional<int>>(), std::nullopt);
  EXPECT_EQ(emptyValue<Volume>().level, -1);
}

struct Playlist {
  std::vector<std::string> entries;
  bool isEmpty() const { return entries.empty(); }
};

TEST(CountableTest, VectorsStacksAndMemberConformersTellEmptiness) {
  static_assert(Countable<std::vector<int>>);
  static_assert(Countable<Stack<int>>);
  static_assert(Countable<Playlist>);
  static_assert(!Countable<int>);

  EXPECT_FALSE(isEmpty(std::vector<int>{0}));
  EXPECT_TRUE(isEmpty(Stack<int>{}));
  EXPECT_FALSE(isEmpty(Stack<int>{{7}}));
  EXPECT_FALSE(isEmpty(Playlist{{"intro"}}));
}

}  // namespace
}  // namespace zorlan
