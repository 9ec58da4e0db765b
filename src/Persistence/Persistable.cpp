#include "zorlan/Persistence/Persistable.hpp"

#include <utility>

namespace zorlan {

namespace detail {

Data stampedBytes(Data plain, const MigrationSchema& schema) {
  // Nothing to add: the first encoding is the document (it keeps its member
  // order and every digit of 64-bit integers, which a typed tree would hold
  // as doubles).
  if (!schema.stampsVersions()) return plain;
  TypedJSON tree = JSONDecoder().decode<TypedJSON>(plain);
  return JSONEncoder().encode(versionStamped(std::move(tree), schema));
}

boost::json::value migratedJSON(const boost::json::value& document, const MigrationSchema& schema) {
  TypedJSON tree = JSONDecoder().decodeFromJSON<TypedJSON>(document);
  return JSONEncoder().encodeToJSON(migrated(std::move(tree), schema));
}

}  // namespace detail

std::string MigrationError::errorName() const {
  switch (kind()) {
    case Kind::typeMismatch:
      return "typeMismatch";
    case Kind::valueNotFound:
      return "valueNotFound";
    case Kind::keyNotFound:
      return "keyNotFound";
    case Kind::dataCorrupted:
      return "dataCorrupted";
  }
  return "dataCorrupted";
}

std::optional<std::string> MigrationError::errorAttemptedType() const {
  if (kind() == Kind::typeMismatch || kind() == Kind::valueNotFound) return type();
  return std::nullopt;
}

std::optional<std::string> MigrationError::key() const {
  if (kind() == Kind::keyNotFound && DecodingError::key()) return DecodingError::key()->stringValue;
  const CodingPath& path = context().codingPath;
  for (auto it = path.rbegin(); it != path.rend(); ++it) {
    if (!it->intValue) return it->stringValue;
  }
  return std::nullopt;
}

}  // namespace zorlan
