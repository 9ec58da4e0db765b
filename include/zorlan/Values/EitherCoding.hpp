// How an Either codes: the JSON form described in Either.hpp, kept apart so
// that declaring an Either does not pull in the coders.
#pragma once

#include <string>

#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Values/Either.hpp"

namespace zorlan {

// "Either<Int, String>": the payload types named as decoding errors name them.
template <class Left, class Right>
struct CodingTypeName<Either<Left, Right>> {
  static std::string name() {
    return "Either<" + codingTypeName<Left>() + ", " + codingTypeName<Right>() + ">";
  }
};

// The JSON form described with Either.
template <class Left, class Right>
struct Coding<Either<Left, Right>> {
  static constexpr const char* kLeftKey = "left";
  static constexpr const char* kRightKey = "right";
  static constexpr const char* kPayloadKey = "_0";

  static void encode(const Either<Left, Right>& value, Encoder& encoder) {
    KeyedEncodingContainer container = encoder.container();
    value.visit(
        [&](const Left& payload) {
          container.nestedContainer(kLeftKey).encode(payload, kPayloadKey);
        },
        [&](const Right& payload) {
          container.nestedContainer(kRightKey).encode(payload, kPayloadKey);
        });
  }

  static Either<Left, Right> decode(const Decoder& decoder) {
    KeyedDecodingContainer container = decoder.container();
    const bool hasLeft = container.contains(kLeftKey);
    if (hasLeft == container.contains(kRightKey)) {
      throw DecodingError::typeMismatch(
          codingTypeName<Either<Left, Right>>(),
          DecodingError::Context{container.codingPath(),
                                 "Invalid number of keys found, expected one.", nullptr});
    }
    if (hasLeft) {
      return Either<Left, Right>::left(
          container.nestedContainer(kLeftKey).template decode<Left>(kPayloadKey));
    }
    return Either<Left, Right>::right(
        container.nestedContainer(kRightKey).template decode<Right>(kPayloadKey));
  }
};

}  // namespace zorlan
