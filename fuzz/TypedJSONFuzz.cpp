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

// Equal trees, except that numbers may differ by a few units in the last
// place: Boost.JSON 1.81 reads some numbers one unit off (it reads
// 5.333333333333333e+44 as 5.3333333333333322e+44), so a number need not
// survive its own shortest text exactly.
bool sameTree(const zorlan::TypedJSON& a, const zorlan::TypedJSON& b) {
  if (a.kind() != b.kind()) return false;
  if (const auto* members = a.members()) {
    const auto& others = *b.members();
    if (members->size() != others.size()) return false;
    for (std::size_t i = 0; i < members->size(); ++i) {
      if ((*members)[i].first != others[i].first) return false;
      if (!sameTree((*members)[i].second, others[i].second)) return false;
    }
    return true;
  }
  if (const auto* elements = a.elements()) {
    const auto& others = *b.elements();
    if (elements->size() != others.size()) return false;
    for (std::size_t i = 0; i < elements->size(); ++i) {
      if (!sameTree((*elements)[i], others[i])) return false;
    }
    return true;
  }
  if (const auto* leaf = a.leaf()) {
    const auto x = leaf->numberValue();
    const auto y = b.leaf()->numberValue();
    if (x && y)
      return std::fabs(*x - *y) <= 4 * std::numeric_limits<double>::epsilon() * std::fabs(*x);
    return *leaf == *b.leaf();
  }
  return true;
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
  if (!sameTree(back, tree)) fail("the tree changed through its own text");
  if (back == tree && std::hash<TypedJSON>()(back) != std::hash<TypedJSON>()(tree)) {
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
