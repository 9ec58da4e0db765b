#include "zorlan/Coding/Decoder.hpp"

#include <algorithm>

namespace zorlan {
namespace detail {

CodingPath PathNode::path() const {
  CodingPath out;
  for (const PathNode* n = this; n && !n->root; n = n->parent) {
    if (n->index >= 0) {
      out.push_back(CodingKey::index(n->index));
    } else {
      out.push_back(CodingKey::named(std::string(n->key)));
    }
  }
  std::reverse(out.begin(), out.end());
  return out;
}

std::string_view jsonKindName(const boost::json::value& value) {
  switch (value.kind()) {
    case boost::json::kind::null:
      return "null";
    case boost::json::kind::bool_:
      return "bool";
    case boost::json::kind::int64:
    case boost::json::kind::uint64:
    case boost::json::kind::double_:
      return "number";
    case boost::json::kind::string:
      return "a string";
    case boost::json::kind::array:
      return "an array";
    case boost::json::kind::object:
      return "a dictionary";
  }
  return "unknown";
}

}  // namespace detail

void Decoder::throwTypeMismatch(std::string_view expectedType) const {
  if (value_->is_null()) {
    throw DecodingError::valueNotFound(
        std::string(expectedType),
        {codingPath(), "Expected " + std::string(expectedType) + " value but found null instead.",
         nullptr});
  }
  throw DecodingError::typeMismatch(
      std::string(expectedType),
      {codingPath(),
       "Expected to decode " + std::string(expectedType) + " but found " +
           std::string(detail::jsonKindName(*value_)) + " instead.",
       nullptr});
}

void Decoder::throwDataCorrupted(std::string description, std::exception_ptr underlying) const {
  throw DecodingError::dataCorrupted({codingPath(), std::move(description), underlying});
}

KeyedDecodingContainer Decoder::container() const {
  if (!value_->is_object()) throwTypeMismatch("Dictionary<String, Any>");
  if (node_.depth >= kMaxCodingDepth) throwDataCorrupted("The data is nested too deeply.");
  return KeyedDecodingContainer(value_->get_object(), *options_, node_);
}

UnkeyedDecodingContainer Decoder::unkeyedContainer() const {
  if (!value_->is_array()) throwTypeMismatch("Array<Any>");
  if (node_.depth >= kMaxCodingDepth) throwDataCorrupted("The data is nested too deeply.");
  return UnkeyedDecodingContainer(value_->get_array(), *options_, node_);
}

std::vector<CodingKey> KeyedDecodingContainer::allKeys() const {
  std::vector<CodingKey> keys;
  keys.reserve(object_->size());
  for (const auto& member : *object_) keys.push_back(CodingKey::named(std::string(member.key())));
  return keys;
}

const boost::json::key_value_pair& KeyedDecodingContainer::entry(std::string_view key) const {
  auto it = object_->find(key);
  if (it == object_->end()) {
    std::string k(key);
    throw DecodingError::keyNotFound(
        CodingKey::named(k), {codingPath(),
                              "No value associated with key CodingKeys(stringValue: \"" + k +
                                  "\", intValue: nil) (\"" + k + "\").",
                              nullptr});
  }
  return *it;
}

Decoder KeyedDecodingContainer::superDecoder(std::string_view key) const {
  static const boost::json::value kNull;
  auto it = object_->find(key);
  if (it == object_->end()) return Decoder(kNull, *options_, node_.child(key));
  return Decoder(it->value(), *options_, node_.child(it->key()));
}

KeyedDecodingContainer KeyedDecodingContainer::nestedContainer(std::string_view key) const {
  return decoderFor(key).container();
}

UnkeyedDecodingContainer KeyedDecodingContainer::nestedUnkeyedContainer(
    std::string_view key) const {
  return decoderFor(key).unkeyedContainer();
}

void UnkeyedDecodingContainer::throwAtEnd(std::string_view type) const {
  CodingPath path = node_.path();
  path.push_back(CodingKey::index(static_cast<int>(index_)));
  throw DecodingError::valueNotFound(std::string(type),
                                     {std::move(path), "Unkeyed container is at end.", nullptr});
}

Decoder UnkeyedDecodingContainer::superDecoder() {
  if (isAtEnd()) throwAtEnd("Decoder");
  int at = static_cast<int>(index_);
  return Decoder((*array_)[index_++], *options_, node_.element(at));
}

bool UnkeyedDecodingContainer::decodeNil() {
  if (!isAtEnd() && (*array_)[index_].is_null()) {
    ++index_;
    return true;
  }
  return false;
}

}  // namespace zorlan
