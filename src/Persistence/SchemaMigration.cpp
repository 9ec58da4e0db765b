// The version stamp and the migration run: two walks over a schema and a
// tree together.
#include <utility>

#include "zorlan/Persistence/MigrationSchema.hpp"

namespace zorlan {

namespace {

using Definition = JSONSchema<JSONValueType>;

constexpr SemVer kZero{};

// Walks `tree` with `node`, calling `atSchema(tree, schema)` at every schema
// node and continuing into that schema's definition.
template <class AtSchema>
void walk(TypedJSON& tree, const Definition& node, AtSchema& atSchema) {
  switch (node.kind()) {
    case Definition::Kind::schema: {
      const MigrationSchema& nested = *node.nestedSchema();
      atSchema(tree, nested);
      walk(tree, nested.definition, atSchema);
      return;
    }
    case Definition::Kind::object:
      if (!tree.isObject()) return;
      for (const auto& [name, schema] : *node.members()) {
        if (TypedJSON* member = tree.mutableMember(name)) walk(*member, schema, atSchema);
      }
      return;
    case Definition::Kind::array:
      if (TypedJSON::Elements* elements = tree.mutableElements()) {
        for (TypedJSON& element : *elements) walk(element, *node.element(), atSchema);
      }
      return;
    case Definition::Kind::dictionary:
      tree.forEachMember(
          [&](const std::string&, TypedJSON& value) { walk(value, *node.element(), atSchema); });
      return;
    case Definition::Kind::value:
      return;
  }
}

bool stamps(const Definition& node) noexcept {
  switch (node.kind()) {
    case Definition::Kind::schema:
      return node.nestedSchema()->stampsVersions();
    case Definition::Kind::object:
      for (const auto& member : *node.members()) {
        if (stamps(member.second)) return true;
      }
      return false;
    case Definition::Kind::array:
    case Definition::Kind::dictionary:
      return stamps(*node.element());
    case Definition::Kind::value:
      return false;
  }
  return false;
}

void stampOne(TypedJSON& tree, const MigrationSchema& schema) {
  if (kZero < schema.version && tree.isObject()) {
    tree.set("version", TypedJSON(schema.version.description()));
  }
}

SemVer storedVersion(const TypedJSON& tree) {
  if (const TypedJSON* member = tree.member("version")) {
    if (const TypedJSONValue* leaf = member->leaf()) {
      if (const std::string* text = leaf->stringValue()) return SemVer(*text);
    }
  }
  return kZero;
}

void migrateOne(TypedJSON& tree, const MigrationSchema& schema) {
  if (schema.migrations.empty()) return;
  SemVer current = storedVersion(tree);
  for (;;) {
    const Migration* chosen = nullptr;
    for (const Migration& candidate : schema.migrations) {
      if (candidate.from != current) continue;
      if (!chosen || chosen->to < candidate.to) chosen = &candidate;
    }
    if (!chosen || !(current < chosen->to)) break;
    for (const Migration::Transform& transform : chosen->transforms) {
      tree = transform(std::move(tree));
    }
    current = chosen->to;
  }
  tree.set("version", TypedJSON(current.description()));
}

}  // namespace

bool MigrationSchema::stampsVersions() const noexcept {
  return kZero < version || stamps(definition);
}

TypedJSON versionStamped(TypedJSON tree, const MigrationSchema& schema) {
  auto atSchema = [](TypedJSON& here, const MigrationSchema& nested) { stampOne(here, nested); };
  stampOne(tree, schema);
  walk(tree, schema.definition, atSchema);
  return tree;
}

TypedJSON migrated(TypedJSON tree, const MigrationSchema& schema) {
  auto atSchema = [](TypedJSON& here, const MigrationSchema& nested) { migrateOne(here, nested); };
  migrateOne(tree, schema);
  walk(tree, schema.definition, atSchema);
  return tree;
}

}  // namespace zorlan
