// Decoder and its containers: reading typed values out of a JSON tree while
// tracking the coding path for errors.
//
// A decoder and the containers it hands out refer to the tree and to their
// parents' paths: use them while the decoding call that made them runs.
#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zorlan/Coding/CodingError.hpp"
#include "zorlan/Coding/CodingFwd.hpp"
#include "zorlan/Coding/CodingStrategies.hpp"
#include "zorlan/Coding/CodingTypeName.hpp"

namespace zorlan {

// The deepest nesting of objects and arrays the coders read or write; a
// document nested deeper is refused with an error rather than risking the
// stack.
inline constexpr std::size_t kMaxCodingDepth = 512;

namespace detail {

// One step of a coding path, linked to its parent; built on the stack as
// decoding descends, turned into a `CodingPath` only for errors.
struct PathNode {
  const PathNode* parent = nullptr;
  std::string_view key;
  int index = -1;  // >= 0 for array elements
  bool root = true;
  std::size_t depth = 0;  // number of keys from the root

  PathNode child(std::string_view k) const { return PathNode{this, k, -1, false, depth + 1}; }
  PathNode element(int i) const { return PathNode{this, {}, i, false, depth + 1}; }
  CodingPath path() const;
};

// The readable name of a JSON value's kind, as decoding errors print it.
std::string_view jsonKindName(const boost::json::value& value);

}  // namespace detail

class KeyedDecodingContainer;
class UnkeyedDecodingContainer;

// Reads one value of a JSON tree. `json()` is the value itself; the
// containers read objects and arrays member by member. Errors thrown carry the
// coding path from the root. Cheap to copy; not thread-safe to share while a
// decode runs.
class Decoder {
 public:
  Decoder(const boost::json::value& value, const DecodingOptions& options,
          detail::PathNode node = {})
      : value_(&value), options_(&options), node_(node) {}

  const boost::json::value& json() const noexcept { return *value_; }
  const DecodingOptions& options() const noexcept { return *options_; }
  CodingPath codingPath() const { return node_.path(); }
  const detail::PathNode& node() const noexcept { return node_; }

  // Throws typeMismatch unless the value is an object (valueNotFound when it
  // is null), dataCorrupted when nested deeper than kMaxCodingDepth.
  KeyedDecodingContainer container() const;
  // Throws typeMismatch unless the value is an array (valueNotFound when it
  // is null), dataCorrupted when nested deeper than kMaxCodingDepth.
  UnkeyedDecodingContainer unkeyedContainer() const;
  // The decoder itself serves as its single-value container.
  const Decoder& singleValueContainer() const noexcept { return *this; }

  // True when the value is null.
  bool decodeNil() const noexcept { return value_->is_null(); }
  // Decodes the value as T; throws DecodingError.
  template <class T>
  T decode() const {
    return Coding<T>::decode(*this);
  }

  // Error helpers for codable implementations. throwTypeMismatch throws
  // valueNotFound ("Expected <type> value but found null instead.") when the
  // value is null, else typeMismatch ("Expected to decode <type> but found
  // <kind> instead.").
  [[noreturn]] void throwTypeMismatch(std::string_view expectedType) const;
  [[noreturn]] void throwDataCorrupted(std::string description,
                                       std::exception_ptr underlying = nullptr) const;

 private:
  const boost::json::value* value_;
  const DecodingOptions* options_;
  detail::PathNode node_;
};

// The members of an object, read by key.
class KeyedDecodingContainer {
 public:
  KeyedDecodingContainer(const boost::json::object& object, const DecodingOptions& options,
                         detail::PathNode node)
      : object_(&object), options_(&options), node_(node) {}

  CodingPath codingPath() const { return node_.path(); }
  // The keys present, in document order.
  std::vector<CodingKey> allKeys() const;
  bool contains(std::string_view key) const { return object_->contains(key); }

  // Throws keyNotFound when the key is missing; true when its value is null.
  bool decodeNil(std::string_view key) const { return entry(key).value().is_null(); }
  // Throws keyNotFound when missing, valueNotFound when null (unless T
  // accepts null), or T's own errors.
  template <class T>
  T decode(std::string_view key) const {
    return Coding<T>::decode(decoderFor(key));
  }
  // Absent when the key is missing or its value is null.
  template <class T>
  std::optional<T> decodeIfPresent(std::string_view key) const {
    auto it = object_->find(key);
    if (it == object_->end() || it->value().is_null()) return std::nullopt;
    return Coding<T>::decode(Decoder(it->value(), *options_, node_.child(it->key())));
  }
  // A decoder positioned at the member (throws keyNotFound when missing).
  Decoder decoderFor(std::string_view key) const {
    const boost::json::key_value_pair& kv = entry(key);
    // Paths refer to the tree's own copy of the key, which outlives `key`.
    return Decoder(kv.value(), *options_, node_.child(kv.key()));
  }
  // A decoder for the member, or for null when the key is missing (then its
  // path refers to `key`, which must outlive the decoder).
  Decoder superDecoder(std::string_view key) const;
  KeyedDecodingContainer nestedContainer(std::string_view key) const;
  UnkeyedDecodingContainer nestedUnkeyedContainer(std::string_view key) const;
  const detail::PathNode& node() const noexcept { return node_; }

 private:
  const boost::json::key_value_pair& entry(std::string_view key) const;
  const boost::json::object* object_;
  const DecodingOptions* options_;
  detail::PathNode node_;
};

// The elements of an array, read in order from the front.
class UnkeyedDecodingContainer {
 public:
  UnkeyedDecodingContainer(const boost::json::array& array, const DecodingOptions& options,
                           detail::PathNode node)
      : array_(&array), options_(&options), node_(node) {}

  CodingPath codingPath() const { return node_.path(); }
  std::size_t count() const noexcept { return array_->size(); }
  bool isAtEnd() const noexcept { return index_ >= array_->size(); }
  std::size_t currentIndex() const noexcept { return index_; }

  // Decodes the next element. At the end: valueNotFound ("Unkeyed container
  // is at end.").
  template <class T>
  T decode() {
    if (isAtEnd()) throwAtEnd(codingTypeName<T>());
    int at = static_cast<int>(index_);
    T result = Coding<T>::decode(Decoder((*array_)[index_], *options_, node_.element(at)));
    ++index_;
    return result;
  }
  // Absent (and advances) when the next element is null; valueNotFound at
  // the end.
  template <class T>
  std::optional<T> decodeIfPresent() {
    if (isAtEnd()) throwAtEnd(codingTypeName<T>());
    if ((*array_)[index_].is_null()) {
      ++index_;
      return std::nullopt;
    }
    return decode<T>();
  }
  // True (and advances) when the next element is null; false (without
  // moving) otherwise, including at the end.
  bool decodeNil();
  // A decoder for the next element, advancing past it; valueNotFound at the end.
  Decoder superDecoder();
  // The element at `index` without moving (for lossy decoders).
  Decoder decoderAt(std::size_t index) const {
    return Decoder((*array_)[index], *options_, node_.element(static_cast<int>(index)));
  }
  void skip() { ++index_; }
  const detail::PathNode& node() const noexcept { return node_; }

 private:
  [[noreturn]] void throwAtEnd(std::string_view type) const;
  const boost::json::array* array_;
  const DecodingOptions* options_;
  detail::PathNode node_;
  std::size_t index_ = 0;
};

}  // namespace zorlan
