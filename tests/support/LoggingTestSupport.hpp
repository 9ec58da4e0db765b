// Helpers for the logging tests: a scratch folder per test, whole-file reads and writes,
// environment variables set for one scope, and the log file's bytes modelled literally.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "zorlan/Dispatch/FileIOQueue.hpp"
#include "zorlan/Logging/LogFileReader.hpp"

namespace zorlan::testing {

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// The events of a log file as a reader sees them; a test failure when it does not read whole.
inline std::vector<LogFileEntry> logEntries(const std::filesystem::path& path) {
  LogFileContents contents = readLogFile(readFile(path));
  EXPECT_FALSE(contents.error) << *contents.error;
  EXPECT_FALSE(contents.truncatedAt);
  return std::move(contents.entries);
}
inline std::vector<std::string> logMessages(const std::filesystem::path& path) {
  std::vector<std::string> messages;
  for (const auto& entry : logEntries(path)) messages.push_back(entry.message);
  return messages;
}

// The described log file, literally: the whole content in memory, rewritten in full after every
// append; an event that would bring the counted size to `bound` is refused as `full`.
struct LogFileModel {
  std::string content;
  std::int64_t size = 0;
  std::int64_t bound = 0;
  bool append(const std::string& bytes) {
    if (size + static_cast<std::int64_t>(bytes.size()) >= bound) return false;
    const std::string chunk = content.empty() ? bytes : ",\n" + bytes;
    content += chunk;
    size += static_cast<std::int64_t>(chunk.size());
    return true;
  }
};

// Sets an environment variable (or unsets it for nullptr) for one scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
  }
  ~ScopedEnv() { old_ ? ::setenv(name_.c_str(), old_->c_str(), 1) : ::unsetenv(name_.c_str()); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::optional<std::string> old_;
};

// A fresh folder named after the running test. Loggers released by a test may still be writing
// their last lines (and a log file recreates a file deleted under it), so the folder goes once
// the file queue has nothing left for it.
class ScratchFolderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("zorlan-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override {
    std::error_code failed;
    for (int attempt = 0; attempt < 100; ++attempt) {
      fileIOQueue().sync([] {});
      if (std::filesystem::remove_all(dir_, failed); !failed) return;
    }
    ADD_FAILURE() << "could not remove " << dir_ << ": " << failed.message();
  }

  std::filesystem::path dir_;
};

}  // namespace zorlan::testing
