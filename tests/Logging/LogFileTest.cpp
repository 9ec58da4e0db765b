// zorlan/Logging/LogFile.hpp, LogFileReader.hpp and the storage under them: the bytes a log
// file holds through bounds, failed writes and files changed behind its back, and reading them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <random>
#include <variant>

#include "Logging/LogFileStorage.hpp"
#include "support/LoggingTestSupport.hpp"
#include "zorlan/Coding/JSONWriter.hpp"
#include "zorlan/Logging/LogFile.hpp"
#include "zorlan/Logging/LogFileError.hpp"
#include "zorlan/Logging/LogFileReader.hpp"

namespace zorlan::detail {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::writeFile;

// Appends `bytes` as given, or after scratch space the way the log file hands over encoded
// events (the separator then goes into that space).
void appendVia(LogFileStorage& storage, const std::string& bytes, bool scratch) {
  if (!scratch) return storage.append(bytes);
  std::string chunk = "??" + bytes;
  storage.appendAfterScratch({chunk.data(), chunk.size()});
}

LogFileError::Code errorCode(const std::function<void()>& work) {
  try {
    work();
  } catch (const LogFileError& error) {
    return error.code();
  }
  ADD_FAILURE() << "no LogFileError";
  return {};
}

class LogFileStorageTest : public testing::ScratchFolderTest {
 protected:
  LogFileStorage::Printer recorder() {
    return [this](const std::string& line) { printed_.push_back(line); };
  }
  std::vector<std::string> printed_;
};

TEST_F(LogFileStorageTest, BoundIsThreeTimesMaxSizeExclusiveAndAppendsMatchTheWholeFileModel) {
  const fs::path path = dir_ / "b.log";
  writeFile(path, "");
  LogFileStorage(path, 0, 10, recorder()).append(std::string(29, 'x'));  // 29 < 30: accepted
  EXPECT_EQ(readFile(path).size(), 29u);
  EXPECT_EQ(errorCode([&] {  // reaches exactly 30: full
              LogFileStorage(path, 0, 10, recorder()).append(std::string(30, 'x'));
            }),
            LogFileError::Code::full);

  writeFile(path, "");
  testing::LogFileModel model{"", 0, 3 * 200};
  LogFileStorage storage(path, 0, 200, recorder());
  std::mt19937 random(7);
  for (int i = 0; i < 200; ++i) {
    const std::string bytes(random() % 12 + 1, static_cast<char>('a' + random() % 26));
    const bool scratch = random() % 2 == 0;
    if (model.append(bytes)) {
      appendVia(storage, bytes, scratch);
    } else {
      EXPECT_THROW(appendVia(storage, bytes, scratch), LogFileError);
    }
  }
  EXPECT_EQ(readFile(path), model.content);
  EXPECT_EQ(storage.currentSize(), model.size);
}

TEST_F(LogFileStorageTest, InitialLoadCountsTheFileTwiceAndARefusedOneLetsTheNextAppendReplaceIt) {
  const fs::path path = dir_ / "c.log";
  writeFile(path, "{\"old\":1}");
  {
    LogFileStorage storage(path, 9, 100, recorder());
    storage.loadFromDisk();
    EXPECT_EQ(storage.currentSize(), 18);  // the size read at opening, plus the loaded bytes
    EXPECT_EQ(storage.contentLength(), 9);
    storage.append("{\"new\":2}");
    EXPECT_EQ(readFile(path), "{\"old\":1},\n{\"new\":2}");
  }
  writeFile(path, "0123456789");  // 10 bytes, maxSize 6: 10 + 10 >= 18
  LogFileStorage storage(path, 10, 6, recorder());
  storage.loadFromDisk();
  EXPECT_EQ(printed_, std::vector<std::string>{"failed appending data from disk: " + path.string() +
                                               " error: LogFileError.full"});
  EXPECT_EQ(storage.contentLength(), 0);
  storage.append("{}");  // 10 + 2 < 18: accepted; the content is just this event
  EXPECT_EQ(readFile(path), "{}");
}

TEST_F(LogFileStorageTest, FailedWriteKeepsItsChunkForTheNextWrite) {
  for (bool scratchFirst : {false, true}) {
    const fs::path sub = dir_ / (scratchFirst ? "gone-scratch" : "gone");
    const fs::path path = sub / "e.log";
    LogFileStorage storage(path, 0, 1000, recorder());
    // The folder does not exist: both writes fail, each keeping its chunk.
    for (const char* bytes : {"{\"n\":1}", "{\"n\":2}"}) {
      EXPECT_EQ(errorCode([&] { appendVia(storage, bytes, scratchFirst == (bytes[5] == '1')); }),
                LogFileError::Code::writing);
    }
    fs::create_directories(sub);
    appendVia(storage, "{\"n\":3}", true);
    // The whole-file write of the described content carries the failed chunks.
    EXPECT_EQ(readFile(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3}");
    appendVia(storage, "{\"n\":4}", !scratchFirst);
    EXPECT_EQ(readFile(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3},\n{\"n\":4}");
  }
}

TEST_F(LogFileStorageTest, UnreadableOrDeletedFiles) {
  const fs::path folder = dir_ / "dir.log";
  fs::create_directories(folder);  // a folder where the file should be: reading fails
  LogFileStorage unreadable(folder, 0, 100, recorder());
  unreadable.loadFromDisk();
  ASSERT_EQ(printed_.size(), 1u);
  EXPECT_EQ(printed_[0].rfind("failed opening file from disk: " + folder.string() + " error: ", 0),
            0u);
  EXPECT_EQ(unreadable.contentLength(), 0);
  EXPECT_THROW(unreadable.append("{}"), LogFileError);

  const fs::path path = dir_ / "g.log";
  writeFile(path, "");
  LogFileStorage deleted(path, 0, 100, recorder());
  deleted.markDeleted();
  deleted.append("{}");  // ignored
  EXPECT_EQ(readFile(path), "");
  EXPECT_EQ(deleted.currentSize(), 0);
}

TEST_F(LogFileStorageTest, SpaceReservedAheadIsGivenBackOnClose) {
  // Appends reserve disk space past the end; the size never shows it, and closing gives it
  // back (a small log must not keep a mebibyte on disk).
  const fs::path path = dir_ / "r.log";
  {
    LogFileStorage storage(path, 0, 1 << 20, recorder());
    for (int i = 0; i < 50; ++i) storage.append("{\"message\":\"reserve\"}");
    EXPECT_EQ(static_cast<std::int64_t>(fs::file_size(path)), storage.contentLength());
  }
  struct stat info {};
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_size, 50 * 21 + 49 * 2);
  EXPECT_LT(info.st_blocks * 512, 64 * 1024);
}

TEST_F(LogFileStorageTest, FileGoneFromThePathIsWrittenAnewWhenTheCheckIsDue) {
  // Asked at most once a second (on a clock the test moves): writes before the check go to
  // the open file and still reach the file made anew.
  std::chrono::nanoseconds now{0};
  const fs::path path = dir_ / "i.log";
  writeFile(path, "{\"n\":1}");
  LogFileStorage storage(path, 7, 1000, recorder(),
                         {std::chrono::seconds(1), [&now] { return now; }});
  storage.loadFromDisk();
  fs::remove(path);
  now += std::chrono::milliseconds(500);
  storage.append("{\"n\":2}");
  EXPECT_FALSE(fs::exists(path));
  EXPECT_TRUE(storage.takeSkippedPathCheck());
  EXPECT_TRUE(printed_.empty());
  now += std::chrono::milliseconds(600);
  storage.append("{\"n\":3}");
  EXPECT_EQ(readFile(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3}");
  // The trailing check a skipped one leads to, after a replacement.
  writeFile(dir_ / "other", "replacement");
  fs::rename(dir_ / "other", path);
  now += std::chrono::milliseconds(100);
  storage.append("{\"n\":4}");
  EXPECT_TRUE(storage.takeSkippedPathCheck());
  storage.checkPath();
  EXPECT_EQ(readFile(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3},\n{\"n\":4}");
  EXPECT_EQ(printed_, std::vector<std::string>(2,
                                               "log file deleted or replaced on disk, writing "
                                               "it anew at: " +
                                                   path.string()));
}

TEST_F(LogFileStorageTest, FolderGoneFromThePathKeepsTheOpenFileUntilTheFileCanBeMadeAnew) {
  // Writing anew fails while the folder is gone: the open file and the pending chunk stay,
  // and the next check writes everything once the folder is back.
  std::chrono::nanoseconds now{0};
  const fs::path sub = dir_ / "sub", path = sub / "j.log";
  fs::create_directories(sub);
  LogFileStorage storage(path, 0, 1000, recorder(),
                         {std::chrono::seconds(1), [&now] { return now; }});
  storage.append("{\"n\":1}");
  fs::remove_all(sub);
  now += std::chrono::seconds(2);
  EXPECT_EQ(errorCode([&] { storage.append("{\"n\":2}"); }), LogFileError::Code::writing);
  storage.checkPath();
  fs::create_directories(sub);
  storage.append("{\"n\":3}");
  EXPECT_EQ(readFile(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3}");
  const std::string anew =
      "log file deleted or replaced on disk, writing it anew at: " + path.string();
  const std::string failed = "failed appending data at: " + path.string() + " error: ";
  ASSERT_EQ(printed_.size(), 5u);
  for (std::size_t i : {0, 2, 4}) EXPECT_EQ(printed_[i], anew);
  for (std::size_t i : {1, 3}) EXPECT_EQ(printed_[i].rfind(failed, 0), 0u) << printed_[i];
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
      std::visit(
          [&](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::string>) fields.string(kNames[i], value);
            if constexpr (std::is_same_v<T, double>) fields.number(kNames[i], value);
            if constexpr (std::is_same_v<T, std::int64_t>) fields.integer(kNames[i], value);
            if constexpr (std::is_same_v<T, LogInfo>) fields.strings(kNames[i], value);
          },
          members_[i]);
    }
    return true;
  }

 private:
  std::vector<Member> members_;
  std::optional<LogSource> source_;
};

TEST_F(LogFileStorageTest, LogFileWritesEventsExactlyAsTheirTreeWouldBe) {
  // The log file writes an event's members straight into text; the bytes must be those the
  // JSON writer makes of the event's tree.
  std::string longText;
  for (int i = 0; i < 900; ++i) longText += "a/b\"\n\x01\xc3\xa9";  // past the short-text bound
  const std::vector<FixedEvent> events = {
      FixedEvent({std::string("plain"), 1795441664.846416, std::int64_t{-42}}),
      FixedEvent({std::string("/path/to\\file \"q\" \t\x1f"),
                  std::string("\xf0\x9f\x98\x80 caf\xc3\xa9")}),
      FixedEvent({0.1, -0.0, 1e21, std::nan(""), 3.0}),
      FixedEvent({LogInfo{{"k/ey", "v\"al"}, {"", ""}}, std::string()}),
      FixedEvent({longText, std::string(5000, 'x')}),
      FixedEvent(std::vector<FixedEvent::Member>())};  // no members: "{}"
  const fs::path path = dir_ / "exact.log";
  std::string expected;
  {
    auto file = LogFile::open(path, 1 << 24);
    for (const FixedEvent& event : events) {
      file->log(event);
      expected += (expected.empty() ? "" : ",\n") + writeJSON(event.toJSON());
    }
    // Text that is not UTF-8 cannot be written: the event is dropped, nothing else.
    file->log(FixedEvent({std::string("ok"), std::string("\xff")}));
    (void)file->currentSize();
  }
  EXPECT_EQ(readFile(path), expected);
}

TEST_F(LogFileStorageTest, LogFileRemovesOnlyFilesAboveThreeTimesTheBoundAndThrowsCreating) {
  writeFile(dir_ / "exact.log", std::string(30, 'x'));
  writeFile(dir_ / "above.log", std::string(31, 'x'));
  auto kept = LogFile::open(dir_ / "exact.log", 10);
  auto removed = LogFile::open(dir_ / "above.log", 10);
  EXPECT_EQ(fs::file_size(dir_ / "exact.log"), 30u);
  EXPECT_EQ(fs::file_size(dir_ / "above.log"), 0u);
  removed->append("{}");
  EXPECT_EQ(fs::file_size(dir_ / "above.log"), 2u);
  EXPECT_EQ(errorCode([] { LogFile::open("/nonexistent-folder/zorlan/app.log", 10); }),
            LogFileError::Code::creating);
}

TEST(LogFileReader, SplitsEventsAtCommaNewlineAndKeepsWhatPrecedesAProblem) {
  // The bytes, the messages read, where a cut-off event starts, whether there is an error.
  using Case = std::tuple<std::string, std::vector<std::string>, std::optional<std::size_t>, bool>;
  const std::string two =
      "{\"message\":\"a, b\",\"loggedAt\":1.5},\n{\"message\":\"{x}\",\"loggedAt\":2}";
  // clang-format off
  const Case cases[] = {
      {"", {}, std::nullopt, false}, {two, {"a, b", "{x}"}, std::nullopt, false},
      // A cut-off last event is reported with where it starts.
      {"{\"message\":\"one\",\"loggedAt\":1},\n{\"message\":\"tw", {"one"}, 32, false},
      {"[1,2]", {}, std::nullopt, true},
      {"{\"message\":\"a\"} {\"message\":\"b\"}", {"a"}, std::nullopt, true},
      {"{\"message\":\"a\"},\nnot json at all", {"a"}, std::nullopt, true}};
  // clang-format on
  for (const auto& [bytes, messages, truncatedAt, error] : cases) {
    SCOPED_TRACE(bytes);
    const LogFileContents contents = readLogFile(bytes);
    std::vector<std::string> read;
    for (const auto& entry : contents.entries) read.push_back(entry.message);
    EXPECT_EQ(read, messages);
    EXPECT_EQ(contents.truncatedAt, truncatedAt);
    EXPECT_EQ(contents.error.has_value(), error);
  }
  EXPECT_EQ(readLogFile("{\"message\":\"a\",\"loggedAt\":1.5}").entries.at(0).loggedAt, 1.5);
}

}  // namespace
}  // namespace zorlan::detail
