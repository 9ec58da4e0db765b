// zorlan/Coding/JSONWriter.hpp: the text the writer produces, and what it refuses to write.
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <charconv>
#include <cmath>
#include <random>
#include <vector>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Coding/JSONWriter.hpp"

namespace zorlan {
namespace {

TEST(JSONWriter, NumberForms) {
  // clang-format off
  const std::pair<boost::json::value, const char*> cases[] = {
      {3.0, "3"}, {-0.0, "-0"}, {1.5, "1.5"}, {1.0 / 3.0, "0.3333333333333333"}, {1e21, "1e+21"},
      {1e-7, "1e-07"}, {1.7976931348623157e308, "1.7976931348623157e+308"}, {5e-324, "5e-324"},
      {9007199254740991.0, "9007199254740991"},
      {std::int64_t{-9223372036854775807 - 1}, "-9223372036854775808"},
      {std::uint64_t{18446744073709551615ull}, "18446744073709551615"}};
  // clang-format on
  for (const auto& [number, text] : cases) EXPECT_EQ(writeJSON(number), text) << text;
}

TEST(JSONWriter, ClockReadingsMatchTheShortestRoundTripForm) {
  // Whole microseconds since 1970 take a fast path; it must agree with the general shortest
  // form everywhere, and other doubles must not take it.
  std::mt19937_64 random(20261123);
  std::vector<double> samples = {1073741824.000001, 1073741823.999999, 8589934591.999999,
                                 8589934592.5,      1795441664.846416, 1795441664.5,
                                 1795441664.000001, 1795441664.1,      1795441664.99999};
  std::uniform_int_distribution<std::int64_t> micros(1000000000000000, 8600000000000000);
  for (int i = 0; i < 20000; ++i) {
    const double d = static_cast<double>(micros(random)) / 1e6;
    samples.push_back(d);
    samples.push_back(std::nextafter(d, 0.0));  // not a whole microsecond
    samples.push_back(std::nextafter(d, 1e300));
  }
  // Runs of readings within one second and across the next, as a clock gives them.
  for (std::int64_t second : {1073741824LL, 1764154978LL, 8589934591LL}) {
    for (std::int64_t m = second * 1000000 - 3000; m < second * 1000000 + 3000; m += 7)
      samples.push_back(static_cast<double>(m) / 1e6);
  }
  for (double d : samples) {
    char expected[32];
    auto end = std::to_chars(expected, expected + sizeof expected, d).ptr;
    if (std::trunc(d) == d) continue;  // integral values print as integers
    ASSERT_EQ(writeJSON(d), std::string(expected, end)) << std::string(expected, end);
  }
}

TEST(JSONWriter, StringEscapes) {
  // The text, written, and written without escaping slashes.
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {"a/b", R"("a\/b")", R"("a/b")"},
      {"q\"b\\", R"("q\"b\\")", R"("q\"b\\")"},
      {"\n\r\t\b\f", R"("\n\r\t\b\f")", R"("\n\r\t\b\f")"},
      {std::string("\x00\x01\x1f", 3), R"("\u0000\u0001\u001f")", R"("\u0000\u0001\u001f")"},
      {"caf\xc3\xa9 \xf0\x9f\x98\x80", "\"caf\xc3\xa9 \xf0\x9f\x98\x80\"",
       "\"caf\xc3\xa9 \xf0\x9f\x98\x80\""}};
  JSONWritingOptions keepSlashes;
  keepSlashes.withoutEscapingSlashes = true;
  // Plain text is skipped in words of eight bytes: every case also sits at every offset.
  const std::string plain = "plain text around it, long enough";
  for (const auto& [raw, escaped, withoutEscapingSlashes] : cases) {
    for (std::size_t before = 0; before <= 9; ++before) {
      const std::string head = plain.substr(0, before), tail = plain.substr(before, 11);
      auto wrap = [&head, &tail](std::string written) {
        return '"' + head + written.substr(1, written.size() - 2) + tail + '"';
      };
      boost::json::value v = boost::json::string(head + raw + tail);
      EXPECT_EQ(writeJSON(v), wrap(escaped)) << before;
      EXPECT_EQ(writeJSON(v, keepSlashes), wrap(withoutEscapingSlashes)) << before;
    }
  }
  // Keys are escaped the same way.
  EXPECT_EQ(writeJSON(boost::json::object{{"a/b", 1}}), R"({"a\/b":1})");
}

TEST(JSONWriter, WritesAtAPointerAsItAppends) {
  // The writer at a pointer scans and copies in blocks of sixteen, escaping slashes on the way;
  // the appending writer does not. Specials at every place of texts around a block's size.
  const char specials[] = {'/', '"', '\\', '\n', '\x01', '\x7f'};
  const std::string utf8 = "\xc3\xa9", bad = "\xff";
  std::vector<std::string> texts;
  for (std::size_t size = 0; size <= 40; ++size) {
    const std::string plain(size, 'p');
    texts.push_back(plain);
    for (std::size_t at = 0; at < size; ++at) {
      for (char c : specials) {
        std::string text = plain;
        text[at] = c;
        texts.push_back(text);
        text[size - 1 - (at * 7) % size] = '/';  // a slash elsewhere too
        texts.push_back(text);
      }
      texts.push_back(plain.substr(0, at) + utf8 + plain.substr(at));
      texts.push_back(std::string(at, '/') + bad + plain.substr(at));
    }
  }
  JSONWritingOptions keepSlashes;
  keepSlashes.withoutEscapingSlashes = true;
  for (const std::string& text : texts) {
    for (const JSONWritingOptions& options : {JSONWritingOptions{}, keepSlashes}) {
      std::string appended;
      bool refused = false;
      try {
        appendJSONString(text, options, appended);
      } catch (const EncodingError&) {
        refused = true;
      }
      std::vector<char> room(maxJSONStringSize(text.size()));
      if (refused) {
        EXPECT_THROW(writeJSONString(text, options, room.data()), EncodingError) << text;
        continue;
      }
      ASSERT_EQ(std::string(room.data(), writeJSONString(text, options, room.data())), appended);
      ASSERT_EQ(jsonStringSize(text, options), appended.size());
    }
  }
}

TEST(JSONWriter, RefusesTextThatIsNotUTF8) {
  // The decoder refuses the same byte sequences, so nothing written is unreadable; what is
  // written reads back.
  for (const char* bad :
       {"\xff", "a\xc3", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    EXPECT_THROW(writeJSON(boost::json::string(bad)), EncodingError) << bad;
    EXPECT_THROW(writeJSON(boost::json::object{{bad, 1}}), EncodingError) << bad;
    for (std::size_t before = 1; before <= 9; ++before) {
      std::string longer = std::string(before, 'a') + bad + std::string(9, 'z');
      EXPECT_THROW(writeJSON(boost::json::string(longer)), EncodingError) << before;
    }
  }
  for (const char* good :
       {"\xc2\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xf4\x8f\xbf\xbf", "\xe0\xa0\x80"}) {
    std::string text = writeJSON(boost::json::string(good));
    EXPECT_EQ(JSONDecoder().decode<std::string>(text), good);
  }
  EXPECT_THROW(JSONEncoder().encode(std::vector<std::string>{"ok", "\xff"}), EncodingError);
}

TEST(JSONWriter, PrettyPrintingAndSortedKeys) {
  boost::json::value doc = boost::json::parse(R"({"b":[1,{"y":true,"x":null}],"a":{},"B":[]})");
  JSONWritingOptions pretty;
  pretty.prettyPrinted = true;
  EXPECT_EQ(writeJSON(doc, pretty),
            "{\n  \"b\" : [\n    1,\n    {\n      \"y\" : true,\n      \"x\" : null\n    }\n  ],\n"
            "  \"a\" : {},\n  \"B\" : []\n}");
  JSONWritingOptions sorted;
  sorted.sortedKeys = true;
  // Byte order: upper case before lower case, nested objects sorted too.
  EXPECT_EQ(writeJSON(doc, sorted), R"({"B":[],"a":{},"b":[1,{"x":null,"y":true}]})");
  EXPECT_EQ(writeJSON(boost::json::parse(R"({"\u00e9":1,"z":2,"aa":3,"a":4})"), sorted),
            "{\"a\":4,\"aa\":3,\"z\":2,\"\xc3\xa9\":1}");
  // The encoder passes its formatting on (its compact default is checked with codables).
  const std::map<std::string, std::string> value{{"url", "https://a/b"}};
  JSONEncoder encoder;
  encoder.outputFormatting.prettyPrinted = true;
  encoder.outputFormatting.withoutEscapingSlashes = true;
  EXPECT_EQ(encoder.encodeToString(value), "{\n  \"url\" : \"https://a/b\"\n}");
}

TEST(JSONWriter, RefusesTreesTheDecoderCouldNotReadBack) {
  boost::json::value tree = boost::json::array();
  boost::json::value* innermost = &tree;
  for (std::size_t i = 1; i < kMaxCodingDepth; ++i)
    innermost = &innermost->get_array().emplace_back(boost::json::array());
  EXPECT_NO_THROW(writeJSON(tree));
  innermost->get_array().emplace_back(boost::json::array());
  EXPECT_THROW(writeJSON(tree), EncodingError);
}

}  // namespace
}  // namespace zorlan
