// MigrationSchema: the version of a stored type's layout, the migrations that
// bring older stored trees forward, and a definition saying where nested
// versioned values sit.
//
//   MigrationSchema schema{
//       SemVer(2, 0, 0),
//       {Migration{SemVer(0, 0, 0), SemVer(1, 0, 0), {renameTitle}},
//        Migration{SemVer(1, 0, 0), SemVer(2, 0, 0), {addRating}}},
//       JSONSchema<JSONValueType>::object({{"artwork", JSONSchema<JSONValueType>::schema(Artwork::schema())}})};
//
//   TypedJSON stamped = versionStamped(tree, schema);   // adds "version": "2.0.0"
//   TypedJSON current = migrated(oldTree, schema);      // 0.0.0 -> 1.0.0 -> 2.0.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "zorlan/JSON/TypedJSONContainer.hpp"
#include "zorlan/Values/SemVer.hpp"

namespace zorlan {

struct MigrationSchema;

// The kinds of leaf a schema can name.
enum class JSONValueType { string, number, boolean, integer };

// The shape of a stored JSON document, as far as migration needs it: which
// members, elements or dictionary values hold nested versioned values. A
// recursive value; every case is held by shared immutable storage, so copies
// are O(1) and a schema can nest itself as deep as its type does.
template <class T>
class JSONSchema {
 public:
  // The cases in tag order.
  enum class Kind { object, array, dictionary, value, schema };
  using Members = std::map<std::string, JSONSchema, std::less<>>;

  // An object whose named members have the given schemas.
  static JSONSchema object(Members members) {
    return JSONSchema(std::in_place_index<0>, std::move(members));
  }
  // An array whose every element has `element`'s schema.
  static JSONSchema array(JSONSchema element) {
    return JSONSchema(std::in_place_index<1>, std::move(element));
  }
  // A string-keyed object whose every value has `value`'s schema.
  static JSONSchema dictionary(JSONSchema value) {
    return JSONSchema(std::in_place_index<2>, std::move(value));
  }
  // A leaf.
  static JSONSchema value(T leaf) { return JSONSchema(std::in_place_index<3>, std::move(leaf)); }
  // A versioned value with its own schema, nested in a larger one.
  static JSONSchema schema(MigrationSchema nested);

  Kind kind() const noexcept { return static_cast<Kind>(node_->payload.index()); }
  // The members of an `object`; null for the other cases.
  const Members* members() const noexcept { return std::get_if<0>(&node_->payload); }
  // The element schema of an `array`, or the value schema of a
  // `dictionary`; null for the other cases.
  const JSONSchema* element() const noexcept {
    if (auto* e = std::get_if<1>(&node_->payload)) return e;
    return std::get_if<2>(&node_->payload);
  }
  // The leaf of a `value`; null for the other cases.
  const T* leaf() const noexcept { return std::get_if<3>(&node_->payload); }
  // The nested schema of a `schema`; null for the other cases.
  const MigrationSchema* nestedSchema() const noexcept;

 private:
  struct Node;
  template <std::size_t I, class Payload>
  JSONSchema(std::in_place_index_t<I>, Payload&& payload);

  std::shared_ptr<const Node> node_;
};

// One step forward between two layouts: the transforms, applied in order,
// turn a tree of version `from` into one of version `to`. Transforms are total
// functions: they return a tree for any tree (a tree they do not recognise
// should come back as it is).
struct Migration {
  using Transform = std::function<TypedJSON(TypedJSON)>;
  SemVer from;
  SemVer to;
  std::vector<Transform> transforms;
};

// The version of a type's current layout, the migrations from older ones in
// declaration order, and the definition of where nested versioned values sit.
// A value type.
struct MigrationSchema {
  SemVer version;
  std::vector<Migration> migrations;
  JSONSchema<JSONValueType> definition = JSONSchema<JSONValueType>::object({});

  // Version 0.0.0, no migrations, an object with no members: the schema of
  // a type that declares none.
  static MigrationSchema defaultSchema() { return MigrationSchema{}; }

  // Whether stamping under this schema can add anything: some schema node
  // in it (this one or a nested one) has a version above 0.0.0.
  bool stampsVersions() const noexcept;
};

// The tree with "version" members added: wherever a schema node whose
// version is above 0.0.0 governs an object, that object's "version" member
// becomes the version's text ("1.2.3"), replacing any member of that name.
// The walk follows the definition into object members the schema names (and
// the tree holds), array elements and dictionary values; where the tree's
// shape differs from the schema's, that part is left as it is. Never fails.
TypedJSON versionStamped(TypedJSON tree, const MigrationSchema& schema);

// The tree brought forward to the schema's layouts. For each schema node,
// outermost first: with no migrations, the tree is left as it is; otherwise
// the stored version (an object's "version" member when it is a string,
// parsed forgivingly; else 0.0.0) picks the migrations that start from it,
// the one with the greatest `to` runs (the first declared among equal
// targets) when it moves the version forward, and so on from the version
// reached; then the tree's "version" member is set to the version reached
// (objects only). Nested versioned values are migrated after the value that
// encloses them, each by its own schema. Never fails; transforms are called
// in order and their exceptions pass out.
TypedJSON migrated(TypedJSON tree, const MigrationSchema& schema);

// --- Implementation ---

template <class T>
struct JSONSchema<T>::Node {
  // Two cases hold a JSONSchema: the index tells array from dictionary.
  std::variant<Members, JSONSchema, JSONSchema, T, MigrationSchema> payload;
};

template <class T>
template <std::size_t I, class Payload>
JSONSchema<T>::JSONSchema(std::in_place_index_t<I> index, Payload&& payload)
    : node_(std::make_shared<const Node>(Node{decltype(Node::payload)(index, std::forward<Payload>(payload))})) {}

template <class T>
JSONSchema<T> JSONSchema<T>::schema(MigrationSchema nested) {
  return JSONSchema(std::in_place_index<4>, std::move(nested));
}

template <class T>
const MigrationSchema* JSONSchema<T>::nestedSchema() const noexcept {
  return std::get_if<4>(&node_->payload);
}

}  // namespace zorlan
