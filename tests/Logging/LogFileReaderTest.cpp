#include <gtest/gtest.h>

#include "zorlan/Logging/LogFileReader.hpp"

namespace zorlan {
namespace {

TEST(LogFileReaderTest, SplitsEventsAtCommaNewline) {
  auto contents =
      readLogFile("{\"message\":\"a, b\",\"loggedAt\":1.5},\n{\"message\":\"{x}\",\"loggedAt\":2}");
  ASSERT_EQ(contents.entries.size(), 2u);
  EXPECT_EQ(contents.entries[0].message, "a, b");
  EXPECT_EQ(contents.entries[0].loggedAt, 1.5);
  EXPECT_EQ(contents.entries[1].message, "{x}");
  EXPECT_EQ(contents.entries[1].loggedAt, 2.0);
  EXPECT_FALSE(contents.truncatedAt);
  EXPECT_FALSE(contents.error);
}

TEST(LogFileReaderTest, EmptyFileHasNoEvents) {
  auto contents = readLogFile("");
  EXPECT_TRUE(contents.entries.empty());
  EXPECT_FALSE(contents.truncatedAt);
  EXPECT_FALSE(contents.error);
}

TEST(LogFileReaderTest, CutOffLastEventIsReportedAndTheRestKept) {
  const std::string whole = "{\"message\":\"one\",\"loggedAt\":1},\n{\"message\":\"tw";
  auto contents = readLogFile(whole);
  ASSERT_EQ(contents.entries.size(), 1u);
  EXPECT_EQ(contents.entries[0].message, "one");
  ASSERT_TRUE(contents.truncatedAt);
  EXPECT_EQ(*contents.truncatedAt, whole.find("{\"message\":\"tw"));
  EXPECT_FALSE(contents.error);
}

TEST(LogFileReaderTest, ForeignBytesStopWithAnError) {
  struct Case {
    const char* bytes;
    std::size_t keptEntries;
  };
  for (const Case& c : {Case{"[1,2]", 0}, Case{"{\"message\":\"a\"} {\"message\":\"b\"}", 1},
                        Case{"{\"message\":\"a\"},\nnot json at all", 1}}) {
    auto contents = readLogFile(c.bytes);
    EXPECT_TRUE(contents.error) << c.bytes;
    EXPECT_EQ(contents.entries.size(), c.keptEntries) << c.bytes;
  }
}

}  // namespace
}  // namespace zorlan
