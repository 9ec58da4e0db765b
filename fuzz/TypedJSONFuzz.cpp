// Arbitrary bytes decoded into the typed JSON tree: either a DecodingError or
// a tree that encodes, reads back equal, and walks without surprises.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <string_view>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONContainer.hpp"

namespace {

[[noreturn]] void fail(const char* what) {
  std::fputs(what, stderr);
  std::fputc('\n', stderr);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using zorlan::TypedJSON;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  TypedJSON tree;
  try {
    tree = zorlan::JSONDecoder().decode<TypedJSON>(text);
  } catch (const zorlan::DecodingError&) {
    return 0;
  }
  // A decoded tree always encodes, and what it encodes to reads back equal.
  std::string once;
  try {
    once = zorlan::JSONEncoder().encodeToString(tree);
  } catch (const zorlan::EncodingError& error) {
    fail(error.what());
  }
  const TypedJSON back = zorlan::JSONDecoder().decode<TypedJSON>(once);
  if (!(back == tree)) fail("the tree changed through its own text");
  if (std::hash<TypedJSON>()(back) != std::hash<TypedJSON>()(tree)) {
    fail("equal trees hash apart");
  }
  if (!tree.roughlyEqual(tree, 1e-300)) fail("a tree is not roughly equal to itself");
  if (tree.debugDescription().empty()) fail("no description of a decodable tree");

  // Rewrites on a copy never reach the original.
  TypedJSON copy = tree;
  copy.forEachMember([](const std::string&, TypedJSON& member) { member = TypedJSON(); });
  copy = std::move(copy).renaming("a", "b").provideDefault("c", TypedJSON(1), true);
  if (zorlan::JSONEncoder().encodeToString(tree) != once)
    fail("a rewrite of a copy changed the original");
  return 0;
}
