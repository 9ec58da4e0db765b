// zorlan/JSON/TypedJSONContainer.hpp under threads: copies that share storage, rewritten apart.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONContainer.hpp"

namespace zorlan {
namespace {

// Copies share storage until they change; threads that each rewrite their own
// copy of one tree must neither see each other's writes nor race on the
// shared storage (run under ThreadSanitizer).
TEST(TypedJSONConcurrencyTest, CopiesSharingStorageAreRewrittenOnSeveralThreadsIndependently) {
  const TypedJSON original = JSONDecoder().decode<TypedJSON>(
      std::string_view(R"({"rails":[{"id":"r0","items":[1,2,3]},{"id":"r1"}],"v":1})"));
  const std::string before = JSONEncoder().encodeToString(original);

  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  std::vector<std::string> results(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      TypedJSON mine;
      for (int round = 0; round < kRounds; ++round) {
        TypedJSON copy = original;  // shares the storage of every level
        copy["v"] = TypedJSON(t);
        copy.mutableMember("rails")->mutableElements()->front()["id"] = TypedJSON("mine");
        copy = std::move(copy).renaming("v", "version");
        mine = copy;  // the previous round's copy is released here
      }
      results[static_cast<std::size_t>(t)] = JSONEncoder().encodeToString(mine);
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(JSONEncoder().encodeToString(original), before);
  for (int t = 0; t < kThreads; ++t) {
    const TypedJSON result = JSONDecoder().decode<TypedJSON>(results[static_cast<std::size_t>(t)]);
    EXPECT_EQ(result["version"], TypedJSON(t));
    EXPECT_EQ(result["v"], std::nullopt);
    EXPECT_EQ((*result["rails"]->elements())[0]["id"], TypedJSON("mine"));
    EXPECT_EQ((*result["rails"]->elements())[1]["id"], TypedJSON("r1"));
  }
}

}  // namespace
}  // namespace zorlan
