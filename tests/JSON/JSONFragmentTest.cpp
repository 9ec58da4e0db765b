// zorlan/JSON/JSONFragment.hpp: lone values stored as {"value": ...}, read and written.
#include <gtest/gtest.h>

#include "support/JSONCodingTestSupport.hpp"
#include "zorlan/JSON/JSONFragment.hpp"

namespace zorlan {
namespace {

template <class T>
std::string fragmentOutcome(std::string_view json) {
  return testing::describe(
      testing::raised<DecodingError>([&] { JSONFragment<T>::decode(Data(json)); }));
}

TEST(JSONFragment, ReadsTheValueMemberOfAnObjectWithADefaultDecoder) {
  EXPECT_EQ(JSONFragment<std::optional<int>>::decode(Data(R"({"value":null})")), std::nullopt);
  // Other members are ignored; the text overload reads the same.
  EXPECT_EQ(JSONFragment<int>::decode(std::string_view(R"({"other":"x","value":7})")), 7);
  // Dates are seconds since 2001, not ISO 8601 text.
  EXPECT_EQ(JSONFragment<Date>::decode(Data(R"({"value":86400})")), Date(86400.0));
  // What the wrapper writes, the fragment reads.
  EXPECT_EQ(JSONEncoder().encodeToString(JSONFragmentWrapper<std::string>{"a/b"}),
            R"({"value":"a\/b"})");
  EXPECT_EQ(JSONFragment<double>::decode(JSONEncoder().encode(JSONFragmentWrapper<double>{0.1})),
            0.1);
}

TEST(JSONFragment, BareValuesAreNotFragmentsAndDecodingErrorsPassThrough) {
  using Outcome = std::string (*)(std::string_view);
  const std::tuple<Outcome, const char*, const char*> cases[] = {
      {fragmentOutcome<bool>, "true",
       "typeMismatch [] Expected to decode Dictionary<String, Any> but found bool instead."},
      {fragmentOutcome<int>, "null",
       "valueNotFound [] Expected Dictionary<String, Any> value but found null instead."},
      {fragmentOutcome<int>, R"({"Value":1})",
       "keyNotFound [] No value associated with key CodingKeys(stringValue: \"value\", intValue: "
       "nil) (\"value\")."},
      {fragmentOutcome<Date>, R"({"value":"2001-01-02T00:00:00Z"})",
       "typeMismatch [value] Expected to decode Double but found a string instead."},
      {fragmentOutcome<int>, R"({"value":1)",
       "dataCorrupted [] The given data was not valid JSON."}};
  for (const auto& [outcome, json, expected] : cases) EXPECT_EQ(outcome(json), expected) << json;
}

}  // namespace
}  // namespace zorlan
