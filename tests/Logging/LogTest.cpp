#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <variant>
#include <vector>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/Coding/JSONWriter.hpp"
#include "zorlan/Dispatch/FileIOQueue.hpp"
#include "zorlan/Logging/Log.hpp"
#include "zorlan/Logging/LogFile.hpp"
#include "zorlan/Logging/LogFileReader.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;

class LogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("zorlan-log-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  // Loggers released by a test may still be writing their last lines (and a
  // logger recreates a file deleted under it), so the folder goes once the
  // file queue has nothing left for it.
  void TearDown() override {
    std::error_code failed;
    for (int attempt = 0; attempt < 100; ++attempt) {
      fileIOQueue().sync([] {});
      if (fs::remove_all(dir_, failed); !failed) return;
    }
    ADD_FAILURE() << "could not remove " << dir_ << ": " << failed.message();
  }

  fs::path setUp(LogLevelConfig levels, const std::string& name = "app.log") {
    fs::path file = dir_ / name;
    relay_ = std::make_unique<rx::BehaviorRelay<std::shared_ptr<const LogConfig>>>(
        std::make_shared<UniformLogConfig>(levels));
    Log::setup(file, asBehaviorReader(*relay_));
    return file;
  }
  // The events in the file, once its queue has written everything.
  std::vector<LogFileEntry> events(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto contents = readLogFile(bytes);
    EXPECT_FALSE(contents.error);
    return contents.entries;
  }

  fs::path dir_;
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
  struct Case {
    Log& (*category)();
    const char* prefix;
  };
  const Case cases[] = {{&Log::shared, ""},
                        {&Log::content, "\U0001F30F "},
                        {&Log::localization, "\U0001F4D6 "},
                        {&Log::analytics, "\U0001F4C8 "},
                        {&Log::onboarding, "\U0001F464 "},
                        {&Log::paywall, "\U0001F4B0 "},
                        {&Log::playback, "\U0001F3AC "},
                        {&Log::chromecast, "[cast] "},
                        {&Log::shareplay, "\U0001F465 "},
                        {&Log::ctvActivation, "\U0001F4FA\u2194\uFE0F\U0001F4F1 "},
                        {&Log::downloads, "\U0001F4BE "},
                        {&Log::qoe, "\U0001F575\uFE0F "}};
  std::vector<std::string> expected;
  for (const Case& c : cases) {
    c.category().debug(Caller{}, "d");
    c.category().info(Caller{}, "i");
    c.category().warning(Caller{}, "w");
    c.category().error(Caller{}, "e");
    expected.push_back(std::string(c.prefix) + "d");
    expected.push_back(std::string(c.prefix) + "i");
    expected.push_back(std::string(c.prefix) + "\u26A0\uFE0F w");
    expected.push_back(std::string(c.prefix) + "\u274C e");
  }
  std::vector<std::string> written;
  for (const auto& e : events(file)) written.push_back(e.message);
  EXPECT_EQ(written, expected);
  EXPECT_EQ(std::string("\U0001F4FA\u2194\uFE0F\U0001F4F1").size(), 14u);
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
    std::vector<std::string> written;
    for (const auto& e : events(file)) written.push_back(e.message);
    std::vector<std::string> expected;
    if (threshold <= LogLevel::debug) expected.push_back("debug");
    if (threshold <= LogLevel::info) expected.push_back("info");
    if (threshold <= LogLevel::warning) expected.push_back("\u26A0\uFE0F warning");
    expected.push_back("\u274C error");
    EXPECT_EQ(written, expected) << "threshold " << rawValue(threshold);
  }
}

TEST_F(LogTest, RunTimeLevelReportsTheFacadesLocationAndSkipsNoneAndTrace) {
  fs::path file = setUp(LogLevelConfig::none);
  Log::shared().log(Caller{}, LogLevel::none, "none");
  Log::shared().log(Caller{}, LogLevel::trace, "trace");
  Log::shared().log(Caller{}, LogLevel::error, "via log");
  const int line = __LINE__ + 1;
  Log::shared().error(Caller{}, "direct");
  auto written = events(file);
  ASSERT_EQ(written.size(), 2u);
  EXPECT_EQ(written[0].object.at("file"), "Logging/Log");
  EXPECT_EQ(written[0].object.at("line"), 129);
  EXPECT_EQ(written[0].object.at("function"), "log(_:level:message:line:file:function:)");
  EXPECT_EQ(written[1].object.at("line"), line);
  EXPECT_NE(std::string(written[1].object.at("file").as_string()).find("LogTest.cpp"),
            std::string::npos);
  EXPECT_EQ(written[1].object.at("sender"), "Caller");
}

// The number of descriptors the process has open.
std::size_t openDescriptors() {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

TEST_F(LogTest, LiveConfigurationReachesEveryCategoryAndLaterSetupsKeepOrReleaseTheFile) {
  fs::path file = setUp(LogLevelConfig{LogLevel::error, LogLevel::error});
  Log::playback().info(Caller{}, "hidden");
  relay_->accept(std::make_shared<UniformLogConfig>(LogLevelConfig::all));
  Log::playback().info(Caller{}, "shown");
  Log::setup(std::nullopt, asBehaviorReader(*relay_));  // no file: keeps the first file logger
  Log::qoe().info(Caller{}, "still to the file");
  std::vector<std::string> written;
  for (const auto& e : events(file)) written.push_back(e.message);
  EXPECT_EQ(written,
            (std::vector<std::string>{"\U0001F3AC shown", "\U0001F575\uFE0F still to the file"}));
  // Each setup with a file replaces the file logger; what it replaced, and
  // its open file, go once nothing uses them.
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 100; ++i) {
    Log::setup(dir_ / ("app-" + std::to_string(i) + ".log"), asBehaviorReader(*relay_));
    Log::shared().error(Caller{}, "setup " + std::to_string(i));
  }
  EXPECT_LE(openDescriptors(), before + 2);
  EXPECT_EQ(events(dir_ / "app-99.log").size(), 1u);
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
  EXPECT_LT(LogLevel::none, LogLevel::trace);
  EXPECT_LT(LogLevel::warning, LogLevel::error);
  EXPECT_EQ(logLevelFromRawValue("warning"), LogLevel::warning);
  EXPECT_EQ(logLevelFromRawValue("Warning"), std::nullopt);
  EXPECT_EQ(JSONDecoder().decode<LogLevelConfig>(R"({"console":"info","file":"error"})"),
            (LogLevelConfig{LogLevel::info, LogLevel::error}));
  EXPECT_THROW(JSONDecoder().decode<LogLevelConfig>(R"({"console":"info"})"), DecodingError);
  EXPECT_THROW(JSONDecoder().decode<LogLevel>(R"("loud")"), DecodingError);
  EXPECT_EQ(JSONEncoder().encodeToString(LogLevelConfig::all),
            R"({"console":"debug","file":"debug"})");
}

TEST(LogFileTest, ReopeningRemovesOnlyFilesAboveThreeTimesTheBound) {
  fs::path dir = fs::temp_directory_path() / ("zorlan-logfile-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  fs::path exact = dir / "exact.log";
  fs::path above = dir / "above.log";
  std::ofstream(exact) << std::string(30, 'x');
  std::ofstream(above) << std::string(31, 'x');
  auto kept = LogFile::open(exact, 10);
  auto removed = LogFile::open(above, 10);
  EXPECT_EQ(fs::file_size(exact), 30u);
  EXPECT_EQ(fs::file_size(above), 0u);
  removed->append("{}");
  EXPECT_EQ(fs::file_size(above), 2u);
  kept.reset();
  removed.reset();
  fs::remove_all(dir);
}

// An event with fixed members, so that both of its forms are known.
class FixedEvent final : public LogEvent {
 public:
  using Member = std::variant<std::string, double, std::int64_t, LogInfo>;
  explicit FixedEvent(std::vector<Member> members) : members_(std::move(members)) {}

  std::string_view message() const override { return {}; }
  std::string_view eventType() const override { return {}; }
  bool isPublic() const override { return true; }
  LoggerLevel level() const override { return LoggerLevel::info; }
  const std::optional<LogSource>& source() const override { return source_; }
  std::string_view typeName() const override { return "FixedEvent"; }
  boost::json::value toJSON(boost::json::storage_ptr storage) const override {
    return logEventFieldsJSON(*this, members_.size(), std::move(storage));
  }
  using LogEvent::toJSON;
  bool writeFields(LogEventFields& fields) const override {
    static constexpr LogFieldName kNames[] = {"a", "b", "c", "d", "e"};
    for (std::size_t i = 0; i < members_.size(); ++i) {
      const LogFieldName name = kNames[i];
      std::visit(
          [&](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::string>) fields.string(name, value);
            if constexpr (std::is_same_v<T, double>) fields.number(name, value);
            if constexpr (std::is_same_v<T, std::int64_t>) fields.integer(name, value);
            if constexpr (std::is_same_v<T, LogInfo>) fields.strings(name, value);
          },
          members_[i]);
    }
    return true;
  }

 private:
  std::vector<Member> members_;
  std::optional<LogSource> source_;
};

TEST(LogFileTest, EventsAreWrittenExactlyAsTheirTreeWouldBe) {
  // The log file writes an event's members straight into text; the bytes
  // must be those the JSON writer makes of the event's tree.
  std::string longText;
  for (int i = 0; i < 900; ++i) longText += "a/b\"\n\x01\xc3\xa9";  // past the short-text bound
  const std::vector<FixedEvent> events = {
      FixedEvent({std::string("plain"), 1795441664.846416, std::int64_t{-42}}),
      FixedEvent({std::string("/path/to\\file \"q\" \t\x1f"),
                  std::string("\xf0\x9f\x98\x80 caf\xc3\xa9")}),
      FixedEvent({0.1, -0.0, 1e21, std::nan(""), 3.0}),
      FixedEvent({LogInfo{{"k/ey", "v\"al"}, {"", ""}}, std::string()}),
      FixedEvent({longText, std::string(5000, 'x')}),
  };
  fs::path dir = fs::temp_directory_path() / ("zorlan-logfile-exact-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  fs::path path = dir / "exact.log";
  std::string expected;
  {
    auto file = LogFile::open(path, 1 << 24);
    for (const FixedEvent& event : events) {
      file->log(event);
      if (!expected.empty()) expected += ",\n";
      expected += writeJSON(event.toJSON());
    }
    // Text that is not UTF-8 cannot be written: the event is dropped, nothing else.
    file->log(FixedEvent({std::string("ok"), std::string("\xff")}));
    (void)file->currentSize();
  }
  std::ifstream in(path, std::ios::binary);
  EXPECT_EQ(std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()),
            expected);
  fs::remove_all(dir);
}

TEST(LogFileTest, UncreatableFileThrowsCreating) {
  try {
    LogFile::open("/nonexistent-folder/zorlan/app.log", 10);
    FAIL() << "expected creating";
  } catch (const LogFileError& error) {
    EXPECT_EQ(error.code(), LogFileError::Code::creating);
  }
}

}  // namespace
}  // namespace zorlan
