// Encoder and its containers: writing typed values into a JSON tree.
//
// An encoder and its containers write into the tree they were made for; use
// them while the encoding call that made them runs.
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

class Encoder {
 public:
  Encoder(boost::json::value& target, const EncodingOptions& options, detail::PathNode node = {})
      : target_(&target), options_(&options), node_(node) {}

  const EncodingOptions& options() const noexcept { return *options_; }
  CodingPath codingPath() const { return node_.path(); }
  boost::json::value& json() noexcept { return *target_; }

  // Makes the value an object (keeping members already written).
  KeyedEncodingContainer container();
  // Makes the value an array (keeping elements already written).
  UnkeyedEncodingContainer unkeyedContainer();
  // The encoder itself serves as its single-value container.
  Encoder& singleValueContainer() noexcept { return *this; }

  void encodeNil() { *target_ = nullptr; }
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
  // An encoder for the member `key`.
  Encoder encoderFor(std::string_view key) {
    return Encoder((*object_)[key], *options_, node_.child(key));
  }
  KeyedEncodingContainer nestedContainer(std::string_view key);
  UnkeyedEncodingContainer nestedUnkeyedContainer(std::string_view key);

 private:
  boost::json::object* object_;
  const EncodingOptions* options_;
  detail::PathNode node_;
};

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
  std::size_t count() const noexcept { return array_->size(); }

 private:
  boost::json::array* array_;
  const EncodingOptions* options_;
  detail::PathNode node_;
};

}  // namespace zorlan
