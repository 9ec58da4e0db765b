// zorlan/Logging/Log.hpp, LogLevel.hpp: the facade's categories, thresholds, sinks and file.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/LoggingTestSupport.hpp"
#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Logging/Log.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;

class LogTest : public testing::ScratchFolderTest {
 protected:
  fs::path setUp(LogLevelConfig levels, const std::string& name = "app.log") {
    fs::path file = dir_ / name;
    relay_ = std::make_unique<rx::BehaviorRelay<std::shared_ptr<const LogConfig>>>(
        std::make_shared<UniformLogConfig>(levels));
    Log::setup(file, asBehaviorReader(*relay_));
    return file;
  }

  std::unique_ptr<rx::BehaviorRelay<std::shared_ptr<const LogConfig>>> relay_;
};

struct Caller {};

TEST_F(LogTest, NothingIsWrittenBeforeSetup) {
  Log::shared().error(Caller{}, "dropped");  // must not fail
  EXPECT_EQ(Log::playback().config().value(), LogLevelConfig::none);
  EXPECT_FALSE(Log::playback().prefix());
}

TEST_F(LogTest, ComposesPrefixMarkAndMessageForEveryCategory) {
  fs::path file = setUp(LogLevelConfig::all);
  // clang-format off
  const std::pair<Log& (*)(), std::string> cases[] = {
      {&Log::shared, ""}, {&Log::content, "\U0001F30F "}, {&Log::localization, "\U0001F4D6 "},
      {&Log::analytics, "\U0001F4C8 "}, {&Log::onboarding, "\U0001F464 "},
      {&Log::paywall, "\U0001F4B0 "}, {&Log::playback, "\U0001F3AC "},
      {&Log::chromecast, "[cast] "}, {&Log::shareplay, "\U0001F465 "},
      {&Log::ctvActivation, "\U0001F4FA\u2194\uFE0F\U0001F4F1 "}, {&Log::downloads, "\U0001F4BE "},
      {&Log::qoe, "\U0001F575\uFE0F "}};
  // clang-format on
  std::vector<std::string> expected;
  for (const auto& [category, prefix] : cases) {
    category().debug(Caller{}, "d");
    category().info(Caller{}, "i");
    category().warning(Caller{}, "w");
    category().error(Caller{}, "e");
    for (const char* text : {"d", "i", "\u26A0\uFE0F w", "\u274C e"})
      expected.push_back(prefix + text);
  }
  EXPECT_EQ(testing::logMessages(file), expected);
}

TEST_F(LogTest, FileThresholdMatrix) {
  const LogLevel thresholds[] = {LogLevel::none, LogLevel::trace,   LogLevel::debug,
                                 LogLevel::info, LogLevel::warning, LogLevel::error};
  for (LogLevel threshold : thresholds) {
    fs::path file = setUp(LogLevelConfig{LogLevel::error, threshold},
                          "app-" + std::string(rawValue(threshold)) + ".log");
    Log::shared().debug(Caller{}, "debug");
    Log::shared().info(Caller{}, "info");
    Log::shared().warning(Caller{}, "warning");
    Log::shared().error(Caller{}, "error");
    std::vector<std::string> expected = {"debug", "info", "\u26A0\uFE0F warning", "\u274C error"};
    // debug = 2, ..., error = 5; none and trace let everything through.
    expected.erase(expected.begin(),
                   expected.begin() + std::clamp(static_cast<int>(threshold) - 2, 0, 3));
    EXPECT_EQ(testing::logMessages(file), expected) << "threshold " << rawValue(threshold);
  }
}

TEST_F(LogTest, RunTimeLevelReportsTheFacadesLocationAndSkipsNoneAndTrace) {
  fs::path file = setUp(LogLevelConfig::none);
  Log::shared().log(Caller{}, LogLevel::none, "none");
  Log::shared().log(Caller{}, LogLevel::trace, "trace");
  Log::shared().log(Caller{}, LogLevel::error, "via log");
  const int line = __LINE__ + 1;
  Log::shared().error(Caller{}, "direct");
  auto written = testing::logEntries(file);
  ASSERT_EQ(written.size(), 2u);
  EXPECT_EQ(written[0].object.at("file"), "Logging/Log");
  EXPECT_EQ(written[0].object.at("line"), 129);
  EXPECT_EQ(written[0].object.at("function"), "log(_:level:message:line:file:function:)");
  EXPECT_EQ(written[1].object.at("line"), line);
  EXPECT_NE(std::string(written[1].object.at("file").as_string()).find("LogTest.cpp"),
            std::string::npos);
  EXPECT_EQ(written[1].object.at("sender"), "Caller");
}

TEST_F(LogTest, LiveConfigurationReachesEveryCategoryAndLaterSetupsKeepOrReleaseTheFile) {
  fs::path file = setUp(LogLevelConfig{LogLevel::error, LogLevel::error});
  Log::playback().info(Caller{}, "hidden");
  relay_->accept(std::make_shared<UniformLogConfig>(LogLevelConfig::all));
  Log::playback().info(Caller{}, "shown");
  Log::setup(std::nullopt, asBehaviorReader(*relay_));  // no file: keeps the first file logger
  Log::qoe().info(Caller{}, "still to the file");
  EXPECT_EQ(testing::logMessages(file),
            (std::vector<std::string>{"\U0001F3AC shown", "\U0001F575\uFE0F still to the file"}));
  // Each setup with a file replaces the file logger; what it replaced, and
  // its open file, go once nothing uses them.
  const auto openDescriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = openDescriptors();
  for (int i = 0; i < 100; ++i) {
    Log::setup(dir_ / ("app-" + std::to_string(i) + ".log"), asBehaviorReader(*relay_));
    Log::shared().error(Caller{}, "setup " + std::to_string(i));
  }
  EXPECT_LE(openDescriptors(), before + 2);
  EXPECT_EQ(testing::logEntries(dir_ / "app-99.log").size(), 1u);
}

// Records what reaches a logger, tagged with the logger's name.
struct RecordingSink : LogSink {
  RecordingSink(std::string name, std::shared_ptr<std::vector<std::string>> out)
      : name(std::move(name)), out(std::move(out)) {}
  void log(const LogEvent& event) noexcept override {
    out->push_back(name + ": " + std::string(event.message()));
  }
  std::string name;
  std::shared_ptr<std::vector<std::string>> out;
};

TEST_F(LogTest, ConsoleComesFirstAndEachSinkHasItsOwnThreshold) {
  setUp(LogLevelConfig{LogLevel::warning, LogLevel::error});
  auto seen = std::make_shared<std::vector<std::string>>();
  Log::consoleLogger()->add(std::make_shared<RecordingSink>("console", seen));
  Log::fileLogger()->add(std::make_shared<RecordingSink>("file", seen));
  Log::content().info(Caller{}, "i");
  Log::content().warning(Caller{}, "w");
  Log::content().error(Caller{}, "e");
  EXPECT_EQ(*seen, (std::vector<std::string>{"console: \U0001F30F \u26A0\uFE0F w",
                                             "console: \U0001F30F \u274C e",
                                             "file: \U0001F30F \u274C e"}));
}

TEST(LogLevelTest, RawValuesOrderAndCoding) {
  EXPECT_EQ(logLevelFromRawValue("warning"), LogLevel::warning);
  EXPECT_EQ(logLevelFromRawValue("Warning"), std::nullopt);
  EXPECT_EQ(JSONDecoder().decode<LogLevelConfig>(R"({"console":"info","file":"error"})"),
            (LogLevelConfig{LogLevel::info, LogLevel::error}));
  EXPECT_THROW(JSONDecoder().decode<LogLevelConfig>(R"({"console":"info"})"), DecodingError);
  EXPECT_THROW(JSONDecoder().decode<LogLevel>(R"("loud")"), DecodingError);
  EXPECT_EQ(JSONEncoder().encodeToString(LogLevelConfig::all),
            R"({"console":"debug","file":"debug"})");
}

}  // namespace
}  // namespace zorlan
