#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <random>

#include "Logging/LogFileStorage.hpp"
#include "zorlan/Logging/LogFileError.hpp"

namespace zorlan::detail {
namespace {

namespace fs = std::filesystem;

std::string readAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeAll(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// The described log file, literally: the whole content in memory, rewritten
// in full after every append.
struct WholeFileModel {
  std::string content;
  std::int64_t currentSize;
  std::int64_t maxSize;

  // Returns false for `full`.
  bool append(const std::string& bytes) {
    if (currentSize + static_cast<std::int64_t>(bytes.size()) >= 3 * maxSize) return false;
    std::string chunk = content.empty() ? bytes : ",\n" + bytes;
    content += chunk;
    currentSize += static_cast<std::int64_t>(chunk.size());
    return true;
  }
};

class LogFileStorageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("zorlan-storage-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  LogFileStorage::Printer recorder() {
    return [this](const std::string& line) { printed_.push_back(line); };
  }

  fs::path dir_;
  std::vector<std::string> printed_;
};

TEST_F(LogFileStorageTest, BoundIsThreeTimesMaxSizeExclusive) {
  fs::path path = dir_ / "b.log";
  writeAll(path, "");
  {
    LogFileStorage storage(path, 0, 10, recorder());
    storage.append(std::string(29, 'x'));  // 29 < 30: accepted
    EXPECT_EQ(storage.currentSize(), 29);
  }
  {
    LogFileStorage storage(path, 0, 10, recorder());
    try {
      storage.append(std::string(30, 'x'));  // reaches exactly 30: full
      FAIL() << "expected full";
    } catch (const LogFileError& error) {
      EXPECT_EQ(error.code(), LogFileError::Code::full);
    }
  }
}

TEST_F(LogFileStorageTest, InitialLoadCountsTheFileTwiceAndKeepsItsBytes) {
  fs::path path = dir_ / "c.log";
  writeAll(path, "{\"old\":1}");
  LogFileStorage storage(path, 9, 100, recorder());
  storage.loadFromDisk();
  EXPECT_EQ(storage.currentSize(), 18);  // the size read at opening, plus the loaded bytes
  EXPECT_EQ(storage.contentLength(), 9);
  storage.append("{\"new\":2}");
  EXPECT_EQ(readAll(path), "{\"old\":1},\n{\"new\":2}");
}

TEST_F(LogFileStorageTest, MatchesTheWholeFileRewriteThroughRefusalsAndFailures) {
  // maxSize 6: bound 18. The file starts with 7 bytes, so the initial load
  // (7 + 7 = 14 < 18) is accepted, then appends run into `full`.
  fs::path sub = dir_ / "sub";
  fs::create_directories(sub);
  fs::path path = sub / "d.log";
  writeAll(path, "1234567");
  WholeFileModel model{"", 7, 6};
  ASSERT_TRUE(model.append("1234567"));
  LogFileStorage storage(path, 7, 6, recorder());
  storage.loadFromDisk();
  ASSERT_EQ(storage.currentSize(), model.currentSize);

  for (const std::string& bytes : {std::string("a"), std::string("bcdefgh")}) {
    bool accepted = model.append(bytes);
    if (accepted) {
      storage.append(bytes);
    } else {
      EXPECT_THROW(storage.append(bytes), LogFileError);
    }
    EXPECT_EQ(readAll(path), model.content);
    EXPECT_EQ(storage.currentSize(), model.currentSize);
  }
}

// Appends `bytes` as given, or after scratch space the way the log file
// hands over encoded events (the separator then goes into that space).
void appendVia(LogFileStorage& storage, const std::string& bytes, bool scratch) {
  if (!scratch) return storage.append(bytes);
  std::string chunk = "??" + bytes;
  storage.appendAfterScratch({chunk.data(), chunk.size()});
}

TEST_F(LogFileStorageTest, FailedWriteKeepsItsChunkForTheNextWrite) {
  for (bool scratchFirst : {false, true}) {
    fs::path sub = dir_ / (scratchFirst ? "gone-scratch" : "gone");
    fs::path path = sub / "e.log";
    printed_.clear();
    LogFileStorage storage(path, 0, 1000, recorder());
    // The folder does not exist: both writes fail, each keeping its chunk.
    for (const char* bytes : {"{\"n\":1}", "{\"n\":2}"}) {
      try {
        appendVia(storage, bytes, scratchFirst == (bytes[5] == '1'));
        FAIL() << "expected writing";
      } catch (const LogFileError& error) {
        EXPECT_EQ(error.code(), LogFileError::Code::writing);
      }
    }
    ASSERT_EQ(printed_.size(), 2u);
    EXPECT_EQ(printed_[0].rfind("failed appending data at: " + path.string() + " error: ", 0), 0u);
    fs::create_directories(sub);
    appendVia(storage, "{\"n\":3}", true);
    // The whole-file write of the described content carries the failed chunks.
    EXPECT_EQ(readAll(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3}");
    appendVia(storage, "{\"n\":4}", !scratchFirst);
    EXPECT_EQ(readAll(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3},\n{\"n\":4}");
  }
}

TEST_F(LogFileStorageTest, RefusedInitialLoadLetsTheNextAppendReplaceTheFile) {
  fs::path path = dir_ / "f.log";
  writeAll(path, "0123456789");  // 10 bytes, maxSize 6: 10 + 10 >= 18
  LogFileStorage storage(path, 10, 6, recorder());
  storage.loadFromDisk();
  ASSERT_EQ(printed_.size(), 1u);
  EXPECT_EQ(printed_[0],
            "failed appending data from disk: " + path.string() + " error: LogFileError.full");
  EXPECT_EQ(storage.contentLength(), 0);
  storage.append("{}");  // 10 + 2 < 18: accepted; the content is just this event
  EXPECT_EQ(readAll(path), "{}");
}

TEST_F(LogFileStorageTest, UnreadableFileIsReportedAndStaysEmptyInMemory) {
  fs::path path = dir_ / "dir.log";
  fs::create_directories(path);  // a folder where the file should be: reading fails
  LogFileStorage storage(path, 0, 100, recorder());
  storage.loadFromDisk();
  ASSERT_EQ(printed_.size(), 1u);
  EXPECT_EQ(printed_[0].rfind("failed opening file from disk: " + path.string() + " error: ", 0),
            0u);
  EXPECT_EQ(storage.contentLength(), 0);
  EXPECT_THROW(storage.append("{}"), LogFileError);
}

TEST_F(LogFileStorageTest, DeletedFileIgnoresAppends) {
  fs::path path = dir_ / "g.log";
  writeAll(path, "");
  LogFileStorage storage(path, 0, 100, recorder());
  storage.markDeleted();
  storage.append("{}");
  EXPECT_EQ(readAll(path), "");
  EXPECT_EQ(storage.currentSize(), 0);
}

TEST_F(LogFileStorageTest, SpaceReservedAheadIsGivenBackOnClose) {
  // Appends reserve disk space past the end; the size never shows it, and
  // closing gives it back (a small log must not keep a mebibyte on disk).
  fs::path path = dir_ / "r.log";
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
  // Asked at most once a second (on a clock the test moves): writes before
  // the check go to the open file and still reach the file made anew.
  std::chrono::nanoseconds now{0};
  fs::path path = dir_ / "i.log";
  writeAll(path, "{\"n\":1}");
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
  EXPECT_EQ(readAll(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3}");
  // The trailing check a skipped one leads to, after a replacement.
  writeAll(dir_ / "other", "replacement");
  fs::rename(dir_ / "other", path);
  now += std::chrono::milliseconds(100);
  storage.append("{\"n\":4}");
  EXPECT_TRUE(storage.takeSkippedPathCheck());
  storage.checkPath();
  EXPECT_EQ(readAll(path), "{\"n\":1},\n{\"n\":2},\n{\"n\":3},\n{\"n\":4}");
  EXPECT_EQ(printed_,
            std::vector<std::string>(
                2, "log file deleted or replaced on disk, writing it anew at: " + path.string()));
}

TEST_F(LogFileStorageTest, RandomAppendsMatchTheModelByteForByte) {
  fs::path path = dir_ / "h.log";
  writeAll(path, "");
  WholeFileModel model{"", 0, 200};
  LogFileStorage storage(path, 0, 200, recorder());
  std::mt19937 random(7);
  for (int i = 0; i < 200; ++i) {
    std::string bytes(random() % 12 + 1, static_cast<char>('a' + random() % 26));
    const bool scratch = random() % 2 == 0;
    if (model.append(bytes)) {
      appendVia(storage, bytes, scratch);
    } else {
      EXPECT_THROW(appendVia(storage, bytes, scratch), LogFileError);
    }
  }
  EXPECT_EQ(readAll(path), model.content);
  EXPECT_EQ(storage.currentSize(), model.currentSize);
}

}  // namespace
}  // namespace zorlan::detail
