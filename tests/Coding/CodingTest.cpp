#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Platform/ISO8601.hpp"

namespace zorlan::coding_test {

struct Artwork {
  std::string url;
  double aspectRatio = 0;
  std::optional<std::string> label;
};
ZORLAN_CODABLE(Artwork, url, aspectRatio, label);

struct Rail {
  std::string title;
  std::vector<Artwork> items;
  std::map<std::string, int> counts;
};
ZORLAN_CODABLE(Rail, title, items, counts);

// A type with its own members.
struct Celsius {
  double degrees = 0;
  void encode(Encoder& encoder) const { encoder.encode(std::to_string(degrees) + "C"); }
  static Celsius decode(const Decoder& decoder) {
    std::string text = decoder.decode<std::string>();
    if (text.empty() || text.back() != 'C') decoder.throwDataCorrupted("Not a temperature.");
    return Celsius{std::stod(text.substr(0, text.size() - 1))};
  }
};

namespace {

template <class T>
DecodingError decodingError(std::string_view json, const JSONDecoder& decoder = JSONDecoder()) {
  try {
    decoder.decode<T>(json);
  } catch (const DecodingError& error) {
    return error;
  }
  ADD_FAILURE() << "no error for " << json;
  return DecodingError::dataCorrupted({});
}

TEST(CodingTest, DescribedStructsRoundTripAndOmitAbsentOptionals) {
  Artwork art{"https://a/b.jpg", 1.78, std::nullopt};
  std::string json = JSONEncoder().encodeToString(art);
  EXPECT_EQ(json, R"({"url":"https:\/\/a\/b.jpg","aspectRatio":1.78})");
  Artwork back = JSONDecoder().decode<Artwork>(json);
  EXPECT_EQ(back.url, art.url);
  EXPECT_EQ(back.aspectRatio, 1.78);
  EXPECT_EQ(JSONDecoder().decode<Artwork>(R"({"url":"u","aspectRatio":1,"label":null})").label,
            std::nullopt);
  EXPECT_EQ(JSONDecoder().decode<Artwork>(R"({"url":"u","aspectRatio":1,"label":"x"})").label, "x");
}

TEST(CodingTest, ErrorsCarryTheCodingPath) {
  auto error = decodingError<Rail>(
      R"({"title":"t","counts":{},"items":[{"url":"a","aspectRatio":1},{"url":7,"aspectRatio":1}]})");
  EXPECT_EQ(error.kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(error.type(), "String");
  EXPECT_EQ(codingPathString(error.context().codingPath), "items.1.url");
  EXPECT_EQ(error.context().codingPath[1], CodingKey::index(1));
  EXPECT_EQ(error.context().debugDescription,
            "Expected to decode String but found number instead.");
}

TEST(CodingTest, EachDecodingErrorKindWhereItArises) {
  auto missing = decodingError<Artwork>(R"({"url":"u"})");
  EXPECT_EQ(missing.kind(), DecodingError::Kind::keyNotFound);
  EXPECT_EQ(missing.key()->stringValue, "aspectRatio");
  EXPECT_EQ(missing.context().debugDescription,
            "No value associated with key CodingKeys(stringValue: \"aspectRatio\", intValue: "
            "nil) (\"aspectRatio\").");
  auto null = decodingError<Artwork>(R"({"url":null,"aspectRatio":1})");
  EXPECT_EQ(null.kind(), DecodingError::Kind::valueNotFound);
  EXPECT_EQ(codingPathString(null.context().codingPath), "url");
  EXPECT_EQ(null.context().debugDescription, "Expected String value but found null instead.");
}

TEST(CodingTest, DateAndDataStrategiesRoundTrip) {
  using DK = DateEncodingStrategy::Kind;
  using DD = DateDecodingStrategy::Kind;
  Date date = Date::fromTimeIntervalSince1970(1700000000.0);
  struct Case {
    DK encode;
    DD decode;
    const char* json;
  };
  for (const Case& c : {Case{DK::deferredToDate, DD::deferredToDate, "721692800"},
                        Case{DK::secondsSince1970, DD::secondsSince1970, "1700000000"},
                        Case{DK::millisecondsSince1970, DD::millisecondsSince1970, "1700000000000"},
                        Case{DK::iso8601, DD::iso8601, R"("2023-11-14T22:13:20Z")"}}) {
    JSONEncoder encoder;
    encoder.dateEncodingStrategy = DateEncodingStrategy::of(c.encode);
    EXPECT_EQ(encoder.encodeToString(date), c.json);
    JSONDecoder decoder;
    decoder.dateDecodingStrategy = DateDecodingStrategy::of(c.decode);
    EXPECT_EQ(decoder.decode<Date>(std::string_view(c.json)), date) << c.json;
  }

  Data bytes(std::vector<std::uint8_t>{0, 1, 2, 250, 255});
  std::string json = JSONEncoder().encodeToString(bytes);
  EXPECT_EQ(json, R"("AAEC+v8=")");
  EXPECT_EQ(JSONDecoder().decode<Data>(json), bytes);
  EXPECT_EQ(decodingError<Data>(R"("AAE")").kind(), DecodingError::Kind::dataCorrupted);
}

TEST(CodingTest, MembersAndCollections) {
  EXPECT_EQ(JSONEncoder().encodeToString(Celsius{21.5}), R"("21.500000C")");
  EXPECT_EQ(JSONDecoder().decode<Celsius>(R"("3C")").degrees, 3.0);
  EXPECT_EQ(JSONDecoder().decode<std::set<int>>("[3,1,3]"), (std::set<int>{1, 3}));
  DecodingError notTemperature = decodingError<std::vector<Celsius>>(R"(["1C","2F"])");
  EXPECT_EQ(notTemperature.context().debugDescription, "Not a temperature.");
  EXPECT_EQ(codingPathString(notTemperature.context().codingPath), "1");
  using Table = std::unordered_map<std::string, std::vector<double>>;
  Table table = JSONDecoder().decode<Table>(R"({"a":[1.5],"b":[]})");
  EXPECT_EQ(table, (Table{{"a", {1.5}}, {"b", {}}}));
  JSONEncoder sorted;
  sorted.outputFormatting.sortedKeys = true;
  EXPECT_EQ(sorted.encodeToString(table), R"({"a":[1.5],"b":[]})");
  EXPECT_EQ(decodingError<Table>(R"({"a":[1,"x"]})").context().codingPath,
            (CodingPath{CodingKey::named("a"), CodingKey::index(1)}));
}

TEST(CodingTest, CustomStrategiesAndURLs) {
  JSONEncoder encoder;
  encoder.dateEncodingStrategy = DateEncodingStrategy::customized(
      [](const Date& date, Encoder& e) { e.encode("D" + iso8601::format(date)); });
  encoder.dataEncodingStrategy.kind = DataEncodingStrategy::Kind::custom;
  encoder.dataEncodingStrategy.custom = [](const Data& data, Encoder& e) {
    e.encode(std::vector<std::uint8_t>(data.bytes()));
  };
  JSONDecoder decoder;
  decoder.dateDecodingStrategy = DateDecodingStrategy::customized([](const Decoder& d) {
    std::string text = d.decode<std::string>();
    if (text.empty() || text[0] != 'D') d.throwDataCorrupted("Not a tagged date.");
    return *iso8601::parse(text.substr(1));
  });
  decoder.dataDecodingStrategy.kind = DataDecodingStrategy::Kind::custom;
  decoder.dataDecodingStrategy.custom = [](const Decoder& d) {
    return Data(d.decode<std::vector<std::uint8_t>>());
  };
  std::map<std::string, Date> dates{{"at", Date(0)}};
  std::string json = encoder.encodeToString(dates);
  EXPECT_EQ(json, R"({"at":"D2001-01-01T00:00:00Z"})");
  EXPECT_EQ(decoder.decode<decltype(dates)>(json), dates);
  const DecodingError error = decodingError<decltype(dates)>(R"({"at":"2001"})", decoder);
  EXPECT_EQ(error.context().debugDescription, "Not a tagged date.");
  EXPECT_EQ(codingPathString(error.context().codingPath), "at");
  Data bytes(std::vector<std::uint8_t>{1, 200});
  EXPECT_EQ(encoder.encodeToString(bytes), "[1,200]");
  EXPECT_EQ(decoder.decode<Data>("[1,200]"), bytes);

  JSONDecoder iso;
  iso.dateDecodingStrategy = DateDecodingStrategy::of(DateDecodingStrategy::Kind::iso8601);
  EXPECT_EQ(iso.decode<Date>(R"("2001-01-01T02:00:00+02:00")"), Date(0));
  const DecodingError notISO =
      decodingError<std::vector<Date>>(R"(["2001-01-01T00:00:00Z","yesterday"])", iso);
  EXPECT_EQ(notISO.kind(), DecodingError::Kind::dataCorrupted);
  EXPECT_EQ(notISO.context().debugDescription, "Expected date string to be ISO8601-formatted.");
  EXPECT_EQ(codingPathString(notISO.context().codingPath), "1");
  EXPECT_EQ(decodingError<Date>(R"("0")").kind(), DecodingError::Kind::typeMismatch);
  JSONEncoder isoEncoder;
  isoEncoder.dateEncodingStrategy = DateEncodingStrategy::of(DateEncodingStrategy::Kind::iso8601);
  EXPECT_THROW(isoEncoder.encode(Date(std::nan(""))), EncodingError);
  EXPECT_THROW(JSONEncoder().encode(Date(HUGE_VAL)), EncodingError);

  URL url = *URL::fromString("https://a/b?c=d");
  EXPECT_EQ(JSONDecoder().decode<URL>(R"("https:\/\/a\/b?c=d")"), url);
  DecodingError badURL = decodingError<URL>(R"("not a url")");
  EXPECT_EQ(badURL.kind(), DecodingError::Kind::dataCorrupted);
  EXPECT_EQ(badURL.context().debugDescription, "Invalid URL string.");
}

TEST(CodingDeathTest, CustomStrategiesNeedAFunction) {
  JSONEncoder encoder;
  encoder.dateEncodingStrategy.kind = DateEncodingStrategy::Kind::custom;
  EXPECT_DEATH(encoder.encode(Date(0)), "custom date strategy needs a function");
  JSONDecoder decoder;
  decoder.dataDecodingStrategy.kind = DataDecodingStrategy::Kind::custom;
  EXPECT_DEATH(decoder.decode<Data>(R"("")"), "custom data strategy needs a function");
}

TEST(CodingTest, NestedDescribedStructsAndTypeNames) {
  Rail rail{"Top", {{"u", 1.5, "L"}}, {{"x", 1}}};
  std::string json = JSONEncoder().encodeToString(rail);
  EXPECT_EQ(json, R"({"title":"Top","items":[{"url":"u","aspectRatio":1.5,"label":"L"}],)"
                  R"("counts":{"x":1}})");
  EXPECT_EQ(JSONDecoder().decode<Rail>(json).counts.at("x"), 1);
  // A present optional member of the wrong type is an error, not absent.
  DecodingError wrongLabel = decodingError<Artwork>(R"({"url":"u","aspectRatio":1,"label":5})");
  EXPECT_EQ(wrongLabel.kind(), DecodingError::Kind::typeMismatch);
  EXPECT_EQ(codingPathString(wrongLabel.context().codingPath), "label");
  DecodingError mapValue = decodingError<Rail>(R"({"title":"t","items":[],"counts":{"a":"1"}})");
  EXPECT_EQ(codingPathString(mapValue.context().codingPath), "counts.a");
  EXPECT_EQ(codingTypeName<Artwork>(), "Artwork");
  EXPECT_EQ(codingTypeName<std::vector<std::optional<std::int64_t>>>(), "Array<Optional<Int>>");
  EXPECT_EQ((codingTypeName<std::map<std::string, double>>()), "Dictionary<String, Double>");
}

}  // namespace
}  // namespace zorlan::coding_test
