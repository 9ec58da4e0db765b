#include "zorlan/JSON/JSONMerge.hpp"

namespace zorlan {

namespace {

// Merges `update` into `result` in place.
void mergeInto(boost::json::object& result, const boost::json::object& update) {
  for (const auto& member : update) {
    auto existing = result.find(member.key());
    if (existing != result.end() && existing->value().is_object() && member.value().is_object()) {
      mergeInto(existing->value().get_object(), member.value().get_object());
    } else {
      result.insert_or_assign(member.key(), member.value());
    }
  }
}

}  // namespace

boost::json::object mergeKeys(const boost::json::object& base,
                              const boost::json::object& updateWith) {
  boost::json::object result(base);
  mergeInto(result, updateWith);
  return result;
}

}  // namespace zorlan
