// zorlan/Platform/Logger.hpp: loggers, their sinks, and the events they hand on.
#include <gtest/gtest.h>

#include <boost/json/serialize.hpp>

#include "support/RecordingLogSink.hpp"
#include "zorlan/Platform/Logger.hpp"

namespace zorlan {
namespace {

using testing::RecordingLogSink;

TEST(LoggerTest, SwitchedOffUntilEnabledThenEverySinkInOrderOfAdding) {
  Logger logger;
  std::vector<std::string> seen;
  auto first = std::make_shared<RecordingLogSink>(seen, "first");
  logger.add(first);
  logger.add(std::make_shared<RecordingLogSink>(seen, "second"));
  logger.log("sender", LoggerLevel::info, "", "dropped", true, {}, 1, "f", "fn");
  EXPECT_TRUE(seen.empty());
  logger.setEnabled(true);
  logger.log("sender", LoggerLevel::warning, "", "kept", true, {}, 12, "Logging/Log", "fn()");
  EXPECT_EQ(seen, (std::vector<std::string>{"first:kept", "second:kept"}));
  EXPECT_EQ(first->levels, std::vector<LoggerLevel>{LoggerLevel::warning});
  EXPECT_EQ(first->sources[0], (LogSource{"Logging/Log", 12, "fn()"}));
}

TEST(LoggerTest, MessageEventJSONCarriesMessageTimeAndSource) {
  MessageLogEvent event("Player", LoggerLevel::error, "", "stall", true, {{"k", "v"}},
                        LogSource{"Wrappers/Safe", 28, "init(from:)"});
  boost::json::object json = event.toJSON().as_object();
  EXPECT_EQ(json.at("message"), "stall");
  EXPECT_EQ(json.at("level"), "error");
  EXPECT_EQ(json.at("file"), "Wrappers/Safe");
  EXPECT_EQ(json.at("line"), 28);
  EXPECT_TRUE(json.at("loggedAt").is_double());
  EXPECT_FALSE(json.contains("type"));  // empty type is left out
  EXPECT_EQ(json.at("info").at("k"), "v");
}

}  // namespace
}  // namespace zorlan
