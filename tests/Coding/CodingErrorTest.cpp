// How coding errors describe themselves and bridge to error domains and codes.
#include <gtest/gtest.h>

#include <stdexcept>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"

namespace zorlan {
namespace {

TEST(CodingError, PathsRenderAsDottedKeysWithIndicesInDecimal) {
  EXPECT_EQ(codingPathString({}), "");
  EXPECT_EQ(codingPathString({CodingKey::index(0), CodingKey::named("a b"), CodingKey::index(12),
                              CodingKey::named("x")}),
            "0.a b.12.x");
  EXPECT_EQ(CodingKey::index(7).stringValue, "Index 7");
  EXPECT_EQ(CodingKey::index(7).intValue, 7);
  EXPECT_FALSE(CodingKey::named("7").intValue);
}

TEST(CodingError, DescriptionsAreStable) {
  DecodingError mismatch =
      DecodingError::typeMismatch("Int", {{CodingKey::named("items"), CodingKey::index(3)},
                                          "Expected to decode Int but found a string instead.",
                                          nullptr});
  EXPECT_EQ(mismatch.description(),
            "typeMismatch(Int, Context(codingPath: [items, 3], debugDescription: \"Expected to "
            "decode Int but found a string instead.\", underlyingError: nil))");
  EXPECT_STREQ(mismatch.what(), mismatch.description().c_str());

  DecodingError missing = DecodingError::keyNotFound(
      CodingKey::named("name"),
      {{},
       "No value associated with key CodingKeys(stringValue: \"name\", intValue: nil) "
       "(\"name\").",
       nullptr});
  EXPECT_EQ(missing.description(),
            "keyNotFound(CodingKeys(stringValue: \"name\", intValue: nil), Context(codingPath: "
            "[], debugDescription: \"No value associated with key CodingKeys(stringValue: "
            "\\\"name\\\", intValue: nil) (\\\"name\\\").\", underlyingError: nil))");

  DecodingError corrupted =
      DecodingError::dataCorrupted({{},
                                    "The given data was not valid JSON.",
                                    std::make_exception_ptr(std::runtime_error("syntax error"))});
  EXPECT_EQ(corrupted.description(),
            "dataCorrupted(Context(codingPath: [], debugDescription: \"The given data was not "
            "valid JSON.\", underlyingError: syntax error))");

  EncodingError invalid =
      EncodingError::invalidValue("nan", {{CodingKey::index(1)}, "Unable to encode.", nullptr});
  EXPECT_EQ(invalid.description(),
            "invalidValue(nan, Context(codingPath: [1], debugDescription: \"Unable to "
            "encode.\", underlyingError: nil))");
}

TEST(CodingError, BridgesToTheCocoaDomainWithItsCodes) {
  struct Case {
    DecodingError error;
    long code;
  };
  std::exception_ptr cause = std::make_exception_ptr(std::runtime_error("cause"));
  const Case cases[] = {
      {DecodingError::typeMismatch("Int", {{}, "", nullptr}), 4864},
      {DecodingError::dataCorrupted({{}, "", cause}), 4864},
      {DecodingError::valueNotFound("Int", {{}, "", nullptr}), 4865},
      {DecodingError::keyNotFound(CodingKey::named("k"), {{}, "", nullptr}), 4865},
  };
  for (const Case& c : cases) {
    const BridgedError& bridged = c.error;
    EXPECT_EQ(bridged.errorDomain(), "NSCocoaErrorDomain");
    EXPECT_EQ(bridged.errorCode(), c.code);
    EXPECT_EQ(bridged.underlyingErrors().size(), c.error.context().underlyingError ? 1u : 0u);
  }
  EXPECT_EQ(cases[1].error.underlyingErrors().front(), cause);

  EncodingError invalid = EncodingError::invalidValue("inf", {{}, "", cause});
  EXPECT_EQ(invalid.errorDomain(), "NSCocoaErrorDomain");
  EXPECT_EQ(invalid.errorCode(), 4866);
  EXPECT_EQ(invalid.underlyingErrors(), std::vector<std::exception_ptr>{cause});
}

TEST(CodingError, NonFiniteNumbersNameTheValue) {
  struct Case {
    double value;
    const char* rendered;
    const char* debugDescription;
  };
  const Case cases[] = {
      {std::nan(""), "nan", "Unable to encode Double.nan directly in JSON."},
      {HUGE_VAL, "inf", "Unable to encode Double.infinity directly in JSON."},
      {-HUGE_VAL, "-inf", "Unable to encode -Double.infinity directly in JSON."},
  };
  for (const Case& c : cases) {
    try {
      JSONEncoder().encode(std::map<std::string, double>{{"x", c.value}});
      ADD_FAILURE() << c.rendered;
    } catch (const EncodingError& error) {
      EXPECT_EQ(error.value(), c.rendered);
      EXPECT_EQ(error.context().debugDescription, c.debugDescription);
      EXPECT_EQ(codingPathString(error.context().codingPath), "x");
    }
  }
  try {
    JSONEncoder().encode(std::numeric_limits<float>::infinity());
    ADD_FAILURE();
  } catch (const EncodingError& error) {
    EXPECT_EQ(error.context().debugDescription,
              "Unable to encode Float.infinity directly in JSON.");
  }
}

}  // namespace
}  // namespace zorlan
