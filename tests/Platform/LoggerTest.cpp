#include "zorlan/Platform/Logger.hpp"

#include <gtest/gtest.h>

#include <boost/json/serialize.hpp>

namespace zorlan {
namespace {

class RecordingSink : public LogSink {
 public:
  void log(const LogEvent& event) noexcept override {
    messages.emplace_back(event.message());
    levels.push_back(event.level());
    sources.push_back(event.source());
    json.push_back(event.toJSON());
  }
  std::vector<std::string> messages;
  std::vector<LoggerLevel> levels;
  std::vector<std::optional<LogSource>> sources;
  std::vector<boost::json::value> json;
};

TEST(LoggerTest, NewLoggerIsSwitchedOffUntilEnabled) {
  Logger logger;
  auto sink = std::make_shared<RecordingSink>();
  logger.add(sink);
  logger.log("sender", LoggerLevel::info, "", "dropped", true, {}, 1, "f", "fn");
  EXPECT_TRUE(sink->messages.empty());
  logger.setEnabled(true);
  logger.log("sender", LoggerLevel::warning, "", "kept", true, {}, 12, "Logging/Log", "fn()");
  ASSERT_EQ(sink->messages, (std::vector<std::string>{"kept"}));
  EXPECT_EQ(sink->levels[0], LoggerLevel::warning);
  EXPECT_EQ(sink->sources[0], (LogSource{"Logging/Log", 12, "fn()"}));
}

TEST(LoggerTest, EverySinkReceivesTheEventInOrderOfAdding) {
  Logger logger;
  logger.setEnabled(true);
  std::vector<std::string> order;
  struct Named : LogSink {
    Named(std::vector<std::string>& o, std::string n) : order(o), name(std::move(n)) {}
    void log(const LogEvent&) noexcept override { order.push_back(name); }
    std::vector<std::string>& order;
    std::string name;
  };
  logger.add(std::make_shared<Named>(order, "first"));
  logger.add(std::make_shared<Named>(order, "second"));
  logger.log("s", LoggerLevel::error, "", "m", true, {}, 0, "", "");
  EXPECT_EQ(order, (std::vector<std::string>{"first", "second"}));
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

TEST(LoggerTest, SharedLoggerIsOnWithAConsoleSink) {
  Logger& shared = Logger::shared();
  EXPECT_TRUE(shared.isEnabled());
  ASSERT_FALSE(shared.sinks().empty());
  EXPECT_NE(dynamic_cast<OSLogSink*>(shared.sinks()[0].get()), nullptr);
  EXPECT_EQ(&shared, &Logger::shared());
}

}  // namespace
}  // namespace zorlan
