// A ~50 KB catalog read into the typed JSON tree and written back to bytes,
// against Boost.JSON parsing the same bytes into its own tree and serializing
// it (with the default heap storage, and with a reused arena, parser and
// serializer); plus the tree's own walks (equality and hashing, tolerant comparison,
// copy and rewrite of one member) for reference.
#include <benchmark/benchmark.h>

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/parser.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/serializer.hpp>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/CatalogDocument.hpp"
#include "support/Ratio.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONContainer.hpp"

namespace {

using zorlan::TypedJSON;

const std::string& catalogText() {
  static const std::string text = zorlan::bench::makeCatalogText();
  return text;
}

const TypedJSON& catalogTree() {
  static const TypedJSON tree = zorlan::JSONDecoder().decode<TypedJSON>(catalogText());
  return tree;
}

// Both sides must do the same work: read every value of the same bytes and
// write text that reads back as the same document.
void checkSameWork() {
  const std::string ours = zorlan::JSONEncoder().encodeToString(catalogTree());
  const std::string theirs = boost::json::serialize(boost::json::parse(catalogText()));
  std::vector<unsigned char> arena(16 * catalogText().size());
  boost::json::monotonic_resource resource(arena.data(), arena.size());
  const std::string theirsInArena =
      boost::json::serialize(boost::json::parse(catalogText(), &resource));
  const bool same = zorlan::JSONDecoder().decode<TypedJSON>(theirs) == catalogTree() &&
                    theirsInArena == theirs &&
                    zorlan::JSONDecoder().decode<TypedJSON>(ours) == catalogTree() &&
                    ours.size() > catalogText().size() / 2;
  if (!same) {
    std::fprintf(stderr, "the two round trips disagree on the catalog\n");
    std::exit(1);
  }
}

void BM_TypedJSONRoundTrip(benchmark::State& state) {
  const std::string& text = catalogText();
  for (auto _ : state) {
    TypedJSON tree = zorlan::JSONDecoder().decode<TypedJSON>(text);
    zorlan::Data bytes = zorlan::JSONEncoder().encode(tree);
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_TypedJSONRoundTrip);

void BM_BoostRoundTrip(benchmark::State& state) {
  const std::string& text = catalogText();
  for (auto _ : state) {
    std::string bytes = boost::json::serialize(boost::json::parse(text));
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_BoostRoundTrip);

// Boost.JSON at its documented fastest: each parse allocates from a
// monotonic arena over one buffer kept across iterations (no heap use once
// the buffer is large enough), with one parser and one serializer reused,
// writing into a string whose capacity is kept.
void BM_BoostArenaRoundTrip(benchmark::State& state) {
  const std::string& text = catalogText();
  std::vector<unsigned char> arena(16 * text.size());
  boost::json::parser parser;
  boost::json::serializer serializer;
  std::string bytes;
  bytes.reserve(2 * text.size());
  char chunk[4096];
  for (auto _ : state) {
    boost::json::monotonic_resource resource(arena.data(), arena.size());
    parser.reset(&resource);
    parser.write(text);
    const boost::json::value tree = parser.release();
    serializer.reset(&tree);
    bytes.clear();
    while (!serializer.done()) bytes.append(serializer.read(chunk));
    benchmark::DoNotOptimize(bytes.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_BoostArenaRoundTrip);

void BM_TypedJSONDecode(benchmark::State& state) {
  const std::string& text = catalogText();
  for (auto _ : state) {
    TypedJSON tree = zorlan::JSONDecoder().decode<TypedJSON>(text);
    benchmark::DoNotOptimize(tree);
  }
}
BENCHMARK(BM_TypedJSONDecode);

void BM_TypedJSONEncode(benchmark::State& state) {
  const TypedJSON& tree = catalogTree();
  for (auto _ : state) {
    zorlan::Data bytes = zorlan::JSONEncoder().encode(tree);
    benchmark::DoNotOptimize(bytes);
  }
}
BENCHMARK(BM_TypedJSONEncode);

// Rewriting one member deep in a copy shares everything else.
void BM_TypedJSONCopyAndRewriteOneMember(benchmark::State& state) {
  const TypedJSON& tree = catalogTree();
  for (auto _ : state) {
    TypedJSON copy = tree;
    copy["region"] = TypedJSON("US");
    copy = std::move(copy).renaming("generated", "generatedAt");
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_TypedJSONCopyAndRewriteOneMember);

void BM_TypedJSONRoughlyEqual(benchmark::State& state) {
  const TypedJSON& tree = catalogTree();
  const TypedJSON other = zorlan::JSONDecoder().decode<TypedJSON>(catalogText());
  for (auto _ : state) benchmark::DoNotOptimize(tree.roughlyEqual(other, 1e-9));
}
BENCHMARK(BM_TypedJSONRoughlyEqual);

void BM_TypedJSONEqualAndHash(benchmark::State& state) {
  const TypedJSON& tree = catalogTree();
  const TypedJSON other = zorlan::JSONDecoder().decode<TypedJSON>(catalogText());
  for (auto _ : state) {
    benchmark::DoNotOptimize(tree == other);
    benchmark::DoNotOptimize(tree.hashValue());
  }
}
BENCHMARK(BM_TypedJSONEqualAndHash);

}  // namespace

int main(int argc, char** argv) {
  checkSameWork();
  return zorlan::bench::runBenchmarks(
      argc, argv,
      {{"typed_json_vs_boost_roundtrip", "BM_TypedJSONRoundTrip", "BM_BoostRoundTrip"},
       {"typed_json_vs_boost_arena_roundtrip", "BM_TypedJSONRoundTrip", "BM_BoostArenaRoundTrip"}});
}
