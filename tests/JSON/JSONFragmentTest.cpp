// Fragments: lone values stored as {"value": ...}.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/JSONFragment.hpp"

namespace zorlan {
namespace {

template <class T>
DecodingError fragmentError(std::string_view json) {
  try {
    JSONFragment<T>::decode(Data(json));
  } catch (const DecodingError& error) {
    return error;
  }
  ADD_FAILURE() << "no error for " << json;
  return DecodingError::dataCorrupted({});
}

TEST(JSONFragment, ReadsTheValueMemberOfAnObject) {
  EXPECT_EQ(JSONFragment<bool>::decode(Data(R"({"value":true})")), true);
  EXPECT_EQ(JSONFragment<bool>::decode(Data(R"({"value":false})")), false);
  EXPECT_EQ(JSONFragment<int>::decode(Data(R"({"value":42})")), 42);
  EXPECT_EQ(JSONFragment<double>::decode(Data(R"({"value":-1.5e3})")), -1500.0);
  EXPECT_EQ(JSONFragment<std::string>::decode(Data(R"({"value":"a\"b\u00e9"})")), "a\"b\xc3\xa9");
  EXPECT_EQ(JSONFragment<std::optional<int>>::decode(Data(R"({"value":null})")), std::nullopt);
  // Other members are ignored; the text overload reads the same.
  EXPECT_EQ(JSONFragment<int>::decode(std::string_view(R"({"other":"x","value":7})")), 7);
}

TEST(JSONFragment, BareScalarsAreNotFragments) {
  // A document that is only the scalar is not an object.
  for (std::string_view bare : {"true", "42", "\"text\"", "[1]"}) {
    SCOPED_TRACE(bare);
    DecodingError error = fragmentError<bool>(bare);
    EXPECT_EQ(error.kind(), DecodingError::Kind::typeMismatch);
    EXPECT_TRUE(error.context().codingPath.empty());
  }
  EXPECT_EQ(fragmentError<int>("null").kind(), DecodingError::Kind::valueNotFound);
}

TEST(JSONFragment, DecodingErrorsPassThroughWithThePathOfTheValue) {
  DecodingError missing = fragmentError<int>(R"({"Value":1})");
  EXPECT_EQ(missing.kind(), DecodingError::Kind::keyNotFound);
  ASSERT_TRUE(missing.key().has_value());
  EXPECT_EQ(missing.key()->stringValue, "value");

  DecodingError wrongType = fragmentError<int>(R"({"value":"42"})");
  EXPECT_EQ(wrongType.kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(wrongType.context().codingPath, CodingPath{CodingKey::named("value")});

  EXPECT_EQ(fragmentError<int>(R"({"value":null})").kind(), DecodingError::Kind::valueNotFound);
  EXPECT_EQ(fragmentError<std::uint8_t>(R"({"value":256})").kind(),
            DecodingError::Kind::dataCorrupted);
  EXPECT_EQ(fragmentError<bool>(R"({"value":1})").kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(fragmentError<int>(R"({"value":1)").kind(), DecodingError::Kind::dataCorrupted);
}

TEST(JSONFragment, UsesADecoderInItsDefaultConfiguration) {
  // Dates are seconds since 2001, not ISO 8601 text.
  EXPECT_EQ(JSONFragment<Date>::decode(Data(R"({"value":86400})")).timeIntervalSinceReferenceDate(),
            86400.0);
  EXPECT_EQ(fragmentError<Date>(R"({"value":"2001-01-02T00:00:00Z"})").kind(),
            DecodingError::Kind::typeMismatch);
  // Bytes are base64.
  EXPECT_EQ(JSONFragment<Data>::decode(Data(R"({"value":"AAE="})")), Data(std::string("\0\1", 2)));
}

TEST(JSONFragmentWrapper, EncodesAsAnObjectWithTheOneKeyValue) {
  EXPECT_EQ(JSONEncoder().encodeToString(JSONFragmentWrapper<int>{42}), R"({"value":42})");
  EXPECT_EQ(JSONEncoder().encodeToString(JSONFragmentWrapper<std::string>{"a/b"}),
            R"({"value":"a\/b"})");
  EXPECT_EQ(JSONEncoder().encodeToString(JSONFragmentWrapper<std::vector<bool>>{{true}}),
            R"({"value":[true]})");
  // What the wrapper writes, the fragment reads.
  Data bytes = JSONEncoder().encode(JSONFragmentWrapper<double>{0.1});
  EXPECT_EQ(JSONFragment<double>::decode(bytes), 0.1);
}

}  // namespace
}  // namespace zorlan
