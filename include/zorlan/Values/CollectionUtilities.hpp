// Conveniences on sequences: conditional appending, chunks and pairs, bounds-
// checked access and insertion, de-duplication and the first element of a type.
// All are pure (they return new values) except `insertSafely`; thread-safe as
// reading (or, for `insertSafely`, writing) the container.
#pragma once

#include <any>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <ranges>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

#include "zorlan/Base/Precondition.hpp"

namespace zorlan {

// A copy of `elements` with `element` added at the end when `condition` is true
// and `element` is present; otherwise an unchanged copy.
template <class T>
std::vector<T> appending(const std::vector<T>& elements, const std::optional<T>& element,
                         bool condition) {
  std::vector<T> result = elements;
  if (condition && element) result.push_back(*element);
  return result;
}

// The elements cut into consecutive arrays of `size`, the last one shorter when
// the count is not a multiple; no chunks for no elements. A size of 0 or less
// stops the process.
template <class T>
std::vector<std::vector<T>> chunked(const std::vector<T>& elements, std::int64_t size) {
  ZORLAN_PRECONDITION(size > 0, "Chunk size must be greater than zero");
  const auto step = static_cast<std::size_t>(size);
  std::vector<std::vector<T>> chunks;
  chunks.reserve(elements.size() / step + 1);
  for (std::size_t start = 0; start < elements.size(); start += step) {
    const std::size_t end = elements.size() - start < step ? elements.size() : start + step;
    chunks.emplace_back(elements.begin() + static_cast<std::ptrdiff_t>(start),
                        elements.begin() + static_cast<std::ptrdiff_t>(end));
    if (end == elements.size()) break;
  }
  return chunks;
}

// Consecutive pairs: first with second, third with fourth, ...; an odd last
// element is left out.
template <class T>
std::vector<std::pair<T, T>> paired(const std::vector<T>& elements) {
  std::vector<std::pair<T, T>> pairs;
  pairs.reserve(elements.size() / 2);
  for (std::size_t i = 0; i + 1 < elements.size(); i += 2) {
    pairs.emplace_back(elements[i], elements[i + 1]);
  }
  return pairs;
}

// The element at `index` of a random-access collection when 0 <= index < size,
// otherwise absent.
template <std::ranges::random_access_range Collection>
requires std::ranges::sized_range<Collection>
auto safe(const Collection& collection, std::int64_t index)
    -> std::optional<std::ranges::range_value_t<Collection>> {
  if (index < 0 || static_cast<std::uint64_t>(index) >= std::ranges::size(collection)) {
    return std::nullopt;
  }
  return std::ranges::begin(collection)[static_cast<std::ptrdiff_t>(index)];
}

// The element at `position` when 0 <= position < count, otherwise absent.
template <class T>
std::optional<T> safelyAt(const std::vector<T>& elements, std::int64_t position) {
  return safe(elements, position);
}

// Inserts `element` at `position` when 0 <= position < count; any other
// position (negative, equal to the count or beyond) appends it instead.
template <class T>
void insertSafely(std::vector<T>& elements, T element, std::int64_t position) {
  if (position >= 0 && static_cast<std::uint64_t>(position) < elements.size()) {
    elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(position), std::move(element));
  } else {
    elements.push_back(std::move(element));
  }
}

// The elements in first-seen order, each later repetition left out. Needs
// std::hash<T> and ==. Expected linear time.
template <class T, class Hash = std::hash<T>, class Equal = std::equal_to<T>>
std::vector<T> removeDuplicates(const std::vector<T>& elements) {
  std::unordered_set<T, Hash, Equal> seen;
  seen.reserve(elements.size());
  std::vector<T> result;
  for (const T& element : elements) {
    if (seen.insert(element).second) result.push_back(element);
  }
  return result;
}

// The first element whose dynamic type is (or derives from) `U`, as a
// `std::shared_ptr<U>`; null when there is none.
template <class U, class Base>
std::shared_ptr<U> firstOfType(const std::vector<std::shared_ptr<Base>>& elements) {
  for (const auto& element : elements) {
    if (auto cast = std::dynamic_pointer_cast<U>(element)) return cast;
  }
  return nullptr;
}

// The first element holding the alternative `U`, or absent.
template <class U, class... Alternatives>
std::optional<U> firstOfType(const std::vector<std::variant<Alternatives...>>& elements) {
  for (const auto& element : elements) {
    if (const U* value = std::get_if<U>(&element)) return *value;
  }
  return std::nullopt;
}

// The first element holding a `U`, or absent.
template <class U>
std::optional<U> firstOfType(const std::vector<std::any>& elements) {
  for (const auto& element : elements) {
    if (const U* value = std::any_cast<U>(&element)) return *value;
  }
  return std::nullopt;
}

}  // namespace zorlan
