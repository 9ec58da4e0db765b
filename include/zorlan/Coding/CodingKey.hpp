// CodingKey and coding paths: where in a document a value is being coded.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zorlan {

// A key of a keyed container (string value) or a position in an unkeyed one
// (string value "Index N" and integer value N).
struct CodingKey {
  std::string stringValue;
  std::optional<int> intValue;

  static CodingKey named(std::string name) { return CodingKey{std::move(name), std::nullopt}; }
  static CodingKey index(int position) {
    return CodingKey{"Index " + std::to_string(position), position};
  }
  friend bool operator==(const CodingKey&, const CodingKey&) = default;
};

using CodingPath = std::vector<CodingKey>;

// The path as keys joined by ".", each key written as its integer value when
// it has one, else as its string value: an element at index 3 under "items"
// gives "items.3".
std::string codingPathString(const CodingPath& path);

}  // namespace zorlan
