// zorlan/Environment/TextStyleRule.hpp: rules from XML and binary property lists, the values
// that are ignored, and the report of data that is no property list.
#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.hpp"
#include "zorlan/Environment/TextStyleRule.hpp"

namespace zorlan {
namespace {

Data fromHex(std::string_view hex) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(
        static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return Data(std::move(bytes));
}

std::string plist(const std::string& body) {
  return R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)" + body + "</plist>";
}
std::string ruleWith(const std::string& attributes) {
  return plist("<dict><key>textMarkupAttributes</key><dict>" + attributes + "</dict></dict>");
}

// The same three elements in both formats: a full rule, one with only an unknown
// attribute (skipped), and one with alignment and font family.
const std::string kXML = plist(R"(<array>
  <dict><key>textSelector</key><string>en</string><key>textMarkupAttributes</key><dict>
    <key>ForegroundColorARGB</key><array><real>1</real><real>1</real><real>0.5</real><integer>0</integer></array>
    <key>RelativeFontSize</key><integer>150</integer><key>BoldStyle</key><true/>
    <key>CharacterEdgeStyle</key><string>DropShadow</string></dict></dict>
  <dict><key>textMarkupAttributes</key><dict><key>Unknown</key><integer>1</integer></dict></dict>
  <dict><key>textMarkupAttributes</key><dict><key>Alignment</key><string>Middle</string>
    <key>FontFamilyName</key><string>Mono</string></dict></dict></array>)");
const Data kBinary = fromHex(
    "62706c6973743030a3011115d2020304105f1014746578744d61726b7570417474726962757465735c7465787453"
    "656c6563746f72d405060708090a0b0f59426f6c645374796c655f1012436861726163746572456467655374796c"
    "655f1013466f726567726f756e64436f6c6f72415247425f101052656c6174697665466f6e7453697a65095a4472"
    "6f70536861646f77a40c0c0d0e233ff0000000000000233fe00000000000001000109652656ed10212d113145755"
    "6e6b6e6f776e1001d10216d21718191a59416c69676e6d656e745e466f6e7446616d696c794e616d65564d696464"
    "6c65544d6f6e6f080c1128353e485d7386879297a0a9abadb0b3b6bec0c3c8d2e1e8000000000000010100000000"
    "0000001b000000000000000000000000000000ed");

TEST(TextStyleRuleTest, BuildsTheRulesOfXMLAndBinaryPropertyLists) {
  TextStyleRule first, second;
  first.textSelector = "en";
  first.foregroundColor = TextStyleRule::ARGB{1, 1, 0.5, 0};
  first.relativeFontSize = 150;
  first.bold = true;
  first.characterEdgeStyle = TextStyleRule::EdgeStyle::dropShadow;
  second.alignment = TextStyleRule::Alignment::middle;
  second.fontFamilyName = "Mono";
  testing::LogCapture log;
  EXPECT_EQ(textStyleRules(Data(kXML)), (std::vector<TextStyleRule>{first, second}));
  EXPECT_EQ(textStyleRules(kBinary), (std::vector<TextStyleRule>{first, second}));
  const auto single = textStyleRules(Data(ruleWith("<key>ItalicStyle</key><false/>")));
  ASSERT_TRUE(single && single->size() == 1);
  EXPECT_EQ(single->front().italic, false);
  EXPECT_TRUE(log.events().empty());
}

TEST(TextStyleRuleTest, PropertyListsThatBuildNoRuleGiveAbsentWithoutAReport) {
  const std::string cases[] = {
      plist("<string>rules</string>"),
      plist("<array/>"),
      plist("<array><integer>1</integer></array>"),
      plist("<dict><key>textSelector</key><string>en</string></dict>"),
      ruleWith("<key>ForegroundColorARGB</key><array><real>1</real><real>1</real><real>1</real></"
               "array>"),
      ruleWith("<key>BackgroundColorARGB</key><array><real>1</real><real>1.5</real><real>0</"
               "real><real>0</real></array>"),
      ruleWith("<key>RelativeFontSize</key><real>0</real>"),
      ruleWith("<key>UnderlineStyle</key><string>YES</string>"),
      ruleWith("<key>Alignment</key><string>middle</string>"),
      ruleWith("<key>CharacterEdgeStyle</key><integer>1</integer>")};
  testing::LogCapture log;
  for (const auto& text : cases) EXPECT_FALSE(textStyleRules(Data(text))) << text;
  EXPECT_TRUE(log.events().empty());
}

TEST(TextStyleRuleTest, DataThatIsNoPropertyListIsReportedOnce) {
  // Empty, neither format, a binary header with nothing after it, cut-off XML.
  const std::string garbage[] = {"", "not a property list", "bplist00\x01\x02",
                                 kXML.substr(0, kXML.size() / 2)};
  for (const auto& bytes : garbage) {
    testing::LogCapture log;
    EXPECT_FALSE(textStyleRules(Data(bytes))) << bytes;
    const auto events = log.events();
    ASSERT_EQ(events.size(), 1u) << bytes;
    EXPECT_EQ(events[0].message,
              "\u274C Error converting data to [AVTextStyleRule]: The data is not a property list "
              "in XML or binary format.");
    EXPECT_TRUE(events[0].level == LoggerLevel::error && events[0].line == 19);
    EXPECT_EQ(events[0].file + " " + events[0].function,
              "Extensions/Data+AVTextStyleRules textStyleRules()");
  }
}

// A binary list of `count` arrays, each holding the next (4-byte offsets and references).
Data nestedBinaryList(std::uint32_t count) {
  std::vector<std::uint8_t> bytes{'b', 'p', 'l', 'i', 's', 't', '0', '0'}, table;
  auto put = [](std::vector<std::uint8_t>& to, std::uint64_t value, int size) {
    while (size-- > 0) to.push_back(static_cast<std::uint8_t>(value >> (8 * size)));
  };
  for (std::uint32_t i = 1; i <= count; ++i) {
    put(table, bytes.size(), 4);
    i < count ? (put(bytes, 0xA1, 1), put(bytes, i, 4)) : put(bytes, 0xA0, 1);
  }
  const std::uint64_t tableOffset = bytes.size();
  bytes.insert(bytes.end(), table.begin(), table.end());
  put(bytes, 0x0404, 8), put(bytes, count, 8), put(bytes, 0, 8), put(bytes, tableOffset, 8);
  return Data(std::move(bytes));
}

TEST(TextStyleRuleTest, LargeBinaryListsAreRefusedUnread) {
  testing::LogCapture log;
  EXPECT_FALSE(textStyleRules(nestedBinaryList(4096)));  // read: a list, but no rule
  EXPECT_FALSE(textStyleRules(nestedBinaryList(4097)));
  EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                "\u274C Error converting data to [AVTextStyleRule]: The binary "
                                "property list has more than 4096 objects."}));
}

}  // namespace
}  // namespace zorlan
