// JSON fragments: a lone value (a number, a Boolean, a string...) stored as
// the one member "value" of a JSON object, so that every stored document is an
// object.
//
//   Data bytes = JSONEncoder().encode(JSONFragmentWrapper<int>{42});  // {"value":42}
//   int n = JSONFragment<int>::decode(bytes);                          // 42
#pragma once

#include <string_view>
#include <utility>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Platform/Data.hpp"

namespace zorlan {

// A value of type T coded as an object with exactly the key "value":
// {"value": <T>}. Decoding throws keyNotFound when the key is missing,
// typeMismatch when the document is not an object, and T's own errors; other
// members are ignored.
template <class T>
struct JSONFragmentWrapper {
  T value;

  void encode(Encoder& encoder) const {
    KeyedEncodingContainer container = encoder.container();
    container.encode(value, "value");
  }
  static JSONFragmentWrapper decode(const Decoder& decoder) {
    KeyedDecodingContainer container = decoder.container();
    return JSONFragmentWrapper{container.decode<T>("value")};
  }
};

// Reading a codable T that was stored as a fragment.
template <class T>
struct JSONFragment {
  // Decodes {"value": <T>} with a JSONDecoder in its default configuration
  // and returns the value. A bare value ("true", "42") is refused: it is not
  // an object (DecodingError.typeMismatch). Decoding errors pass through
  // unchanged. Thread-safe.
  static T decode(const Data& data) { return JSONDecoder().decode<JSONFragmentWrapper<T>>(data).value; }
  static T decode(std::string_view text) {
    return JSONDecoder().decode<JSONFragmentWrapper<T>>(text).value;
  }
};

template <class T>
struct CodingTypeName<JSONFragmentWrapper<T>> {
  static std::string name() { return "JSONFragmentWrapper<" + codingTypeName<T>() + ">"; }
};

}  // namespace zorlan
