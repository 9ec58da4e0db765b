#include "zorlan/Coding/Encoder.hpp"

namespace zorlan {

namespace {

void checkDepth(const detail::PathNode& node) {
  if (node.depth >= kMaxCodingDepth) {
    throw EncodingError::invalidValue("",
                                      {node.path(), "The value is nested too deeply.", nullptr});
  }
}

}  // namespace

KeyedEncodingContainer Encoder::container() {
  checkDepth(node_);
  if (!target_->is_object()) *target_ = boost::json::object(target_->storage());
  return KeyedEncodingContainer(target_->get_object(), *options_, node_);
}

UnkeyedEncodingContainer Encoder::unkeyedContainer() {
  checkDepth(node_);
  if (!target_->is_array()) *target_ = boost::json::array(target_->storage());
  return UnkeyedEncodingContainer(target_->get_array(), *options_, node_);
}

void Encoder::throwInvalidValue(std::string value, std::string description) const {
  throw EncodingError::invalidValue(std::move(value),
                                    {codingPath(), std::move(description), nullptr});
}

KeyedEncodingContainer KeyedEncodingContainer::nestedContainer(std::string_view key) {
  checkDepth(node_.child(key));
  auto it = object_->emplace(key, nullptr).first;
  boost::json::value& slot = it->value();
  if (!slot.is_object()) slot = boost::json::object(slot.storage());
  return KeyedEncodingContainer(slot.get_object(), *options_, node_.child(it->key()));
}

UnkeyedEncodingContainer KeyedEncodingContainer::nestedUnkeyedContainer(std::string_view key) {
  checkDepth(node_.child(key));
  auto it = object_->emplace(key, nullptr).first;
  boost::json::value& slot = it->value();
  if (!slot.is_array()) slot = boost::json::array(slot.storage());
  return UnkeyedEncodingContainer(slot.get_array(), *options_, node_.child(it->key()));
}

}  // namespace zorlan
