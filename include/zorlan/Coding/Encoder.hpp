// Encoder and its containers: writing typed values into a JSON tree.
//
// An encoder and its containers write into the tree they were made for; use
// them while the encoding call that made them runs. A nested container or a
// super encoder refers to a slot of its parent: finish with it before adding
// the parent's next member or element.
#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string_view>

#include "zorlan/Coding/CodingError.hpp"
#include "zorlan/Coding/CodingStrategies.hpp"
#include "zorlan/Coding/Decoder.hpp"

namespace zorlan {

class KeyedEncodingContainer;
class UnkeyedEncodingContainer;

// Writes one value into a JSON tree. The containers make it an object or an
// array and write members or elements. Errors thrown (EncodingError) carry the
// coding path from the root. Not thread-safe to share while an encode runs.
class Encoder {
 public:
  Encoder(boost::json::value& target, const EncodingOptions& options, detail::PathNode node = {})
      : target_(&target), options_(&options), node_(node) {}

  const EncodingOptions& options() const noexcept { return *options_; }
  CodingPath codingPath() const { return node_.path(); }
  boost::json::value& json() noexcept { return *target_; }

  // Makes the value an object (keeping members already written). Throws
  // EncodingError.invalidValue when nested deeper than kMaxCodingDepth.
  KeyedEncodingContainer container();
  // Makes the value an array (keeping elements already written); the same
  // depth limit.
  UnkeyedEncodingContainer unkeyedContainer();
  // The encoder itself serves as its single-value container.
  Encoder& singleValueContainer() noexcept { return *this; }

  void encodeNil() { *target_ = nullptr; }
  // Encodes `value` as this encoder's value; throws EncodingError.
  template <class T>
  void encode(const T& value) {
    Coding<T>::encode(value, *this);
  }

  // Throws EncodingError.invalidValue at this path.
  [[noreturn]] void throwInvalidValue(std::string value, std::string description) const;

 private:
  boost::json::value* target_;
  const EncodingOptions* options_;
  detail::PathNode node_;
};

// Writes the members of an object.
class KeyedEncodingContainer {
 public:
  KeyedEncodingContainer(boost::json::object& object, const EncodingOptions& options,
                         detail::PathNode node)
      : object_(&object), options_(&options), node_(node) {}

  template <class T>
  void encode(const T& value, std::string_view key) {
    boost::json::value& slot = (*object_)[key];
    Encoder child(slot, *options_, node_.child(key));
    Coding<T>::encode(value, child);
  }
  // Writes nothing when `value` is absent.
  template <class T>
  void encodeIfPresent(const std::optional<T>& value, std::string_view key) {
    if (value) encode(*value, key);
  }
  void encodeNil(std::string_view key) { (*object_)[key] = nullptr; }
  // An encoder for the member `key` (written as null until encoded).
  Encoder superEncoder(std::string_view key) {
    // Paths refer to the tree's own copy of the key, which outlives `key`.
    auto it = object_->emplace(key, nullptr).first;
    return Encoder(it->value(), *options_, node_.child(it->key()));
  }
  KeyedEncodingContainer nestedContainer(std::string_view key);
  UnkeyedEncodingContainer nestedUnkeyedContainer(std::string_view key);

 private:
  boost::json::object* object_;
  const EncodingOptions* options_;
  detail::PathNode node_;
};

// Appends the elements of an array.
class UnkeyedEncodingContainer {
 public:
  UnkeyedEncodingContainer(boost::json::array& array, const EncodingOptions& options,
                           detail::PathNode node)
      : array_(&array), options_(&options), node_(node) {}

  template <class T>
  void encode(const T& value) {
    int at = static_cast<int>(array_->size());
    boost::json::value& slot = array_->emplace_back(nullptr);
    Encoder child(slot, *options_, node_.element(at));
    Coding<T>::encode(value, child);
  }
  void encodeNil() { array_->emplace_back(nullptr); }
  // An encoder for a new element appended at the end.
  Encoder superEncoder() {
    int at = static_cast<int>(array_->size());
    return Encoder(array_->emplace_back(nullptr), *options_, node_.element(at));
  }
  std::size_t count() const noexcept { return array_->size(); }

 private:
  boost::json::array* array_;
  const EncodingOptions* options_;
  detail::PathNode node_;
};

}  // namespace zorlan
