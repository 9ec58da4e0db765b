#include "zorlan/Logging/FileLogger.hpp"

#include <pwd.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <boost/json/value.hpp>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <utility>

#include "zorlan/Dispatch/FileIOQueue.hpp"
#include "zorlan/Logging/LogFile.hpp"
#include "zorlan/Platform/Logger.hpp"

namespace zorlan {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMaxSize = 52'428'800;  // 50 MiB

// The event a file logger hands to its base logger: a message, no event type,
// public, no source. Its JSON form holds only the message and the moment of
// encoding.
class FileLogEvent final : public LogEvent {
 public:
  FileLogEvent(std::string message, const FileLogger::DateSource& now)
      : message_(std::move(message)), now_(now) {}

  std::string_view message() const override { return message_; }
  std::string_view eventType() const override { return {}; }
  bool isPublic() const override { return true; }
  LoggerLevel level() const override { return LoggerLevel::none; }
  const std::optional<LogSource>& source() const override { return source_; }
  std::string_view typeName() const override { return "FileLogEvent"; }
  boost::json::value toJSON(boost::json::storage_ptr storage) const override {
    return logEventFieldsJSON(*this, 2, std::move(storage));
  }
  bool writeFields(LogEventFields& fields) const override {
    fields.string("message", message_);
    fields.number("loggedAt", now_().timeIntervalSince1970());
    return true;
  }

 private:
  std::string message_;
  const FileLogger::DateSource& now_;
  std::optional<LogSource> source_;
};

struct ContainerRegistry {
  std::mutex mutex;
  std::map<std::string, fs::path, std::less<>> containers;
};

ContainerRegistry& containerRegistry() {
  static ContainerRegistry* registry = new ContainerRegistry();
  return *registry;
}

void printLine(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

// The user's cache directory: $XDG_CACHE_HOME when absolute, else the home
// directory's ".cache". Absent when there is no home directory either.
std::optional<fs::path> userCacheDirectory() {
  if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && xdg[0] == '/') return fs::path(xdg);
  if (const char* home = std::getenv("HOME"); home && home[0] != '\0') {
    return fs::path(home) / ".cache";
  }
  struct passwd entry {};
  struct passwd* found = nullptr;
  char buffer[4096];
  if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found &&
      found->pw_dir && found->pw_dir[0] != '\0') {
    return fs::path(found->pw_dir) / ".cache";
  }
  return std::nullopt;
}

std::optional<fs::path> resolveFolder(const std::string& folderName,
                                      const FileLogger::LogLocation& location) {
  std::optional<fs::path> folder;
  if (location.isAppSandbox()) {
    folder = userCacheDirectory();
    if (!folder) return std::nullopt;
    *folder /= folderName;
  } else {
    folder = FileLogger::sharedDataContainer(*location.suiteName());
    if (!folder) return std::nullopt;
    *folder = *folder / "Library" / "Caches" / folderName;
  }
  try {
    fs::create_directories(*folder);
  } catch (const fs::filesystem_error& error) {
    printLine(std::string("Unable to create directory ") + error.what());
    return std::nullopt;
  }
  return folder;
}

// `date` as "yyyyMMddHHmmss" in the device's current time zone, read afresh
// (the TZ environment variable, else the system's zone) on every call.
std::string fileStamp(Date date) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString("yyyyMMddHHmmss"), icu::Locale("en_US_POSIX"),
                               status);
  if (U_FAILURE(status)) return {};
  format.adoptTimeZone(icu::TimeZone::detectHostTimeZone());
  icu::UnicodeString text;
  format.format(date.timeIntervalSince1970() * 1000.0, text);
  std::string stamp;
  text.toUTF8String(stamp);
  return stamp;
}

}  // namespace

// The part of a logger that queued work reaches: the base logger with the log
// file as its sink, and the date source.
struct FileLogger::Writer {
  Logger logger;
  DateSource now;

  void write(std::string message) { logger.log(FileLogEvent(std::move(message), now)); }
};

FileLogger::FileLogger(const std::string& folderName, const LogLocation& location, DateSource now)
    : writer_(std::make_shared<Writer>()),
      serialQueue_(DispatchQueue("file.logger", DispatchQoS::utility, fileIOQueue())) {
  writer_->now = now ? std::move(now) : DateSource(&Date::now);
  writer_->logger.setEnabled(true);
  try {
    std::optional<fs::path> folder = resolveFolder(folderName, location);
    if (!folder) return;
    const Date created = writer_->now();
    const std::string stamp = fileStamp(created);
    if (stamp.empty()) return;
    fs::path path = *folder / (stamp + ".log");
    try {
      writer_->logger.add(LogFile::open(path, kMaxSize, created));
      filePath_ = std::move(path);
    } catch (const std::exception&) {
      // The logger keeps no sink: messages go nowhere.
    }
  } catch (const std::exception&) {
    // Out of memory while resolving the folder: no file, and no failure.
  }
}

FileLogger::~FileLogger() {
  try {
    // The last strong hold on the writer goes with the marker, so the file
    // stays open until the marker and everything queued before it are written.
    serialQueue_.dispatch([writer = std::move(writer_)] { writer->write("--- END ---"); });
  } catch (...) {
    // Nothing to report to: the marker is lost.
  }
}

void FileLogger::log(std::string message) const {
  serialQueue_.dispatch([weak = std::weak_ptr<Writer>(writer_), message = std::move(message)] {
    if (auto writer = weak.lock()) writer->write(message);
  });
}

Logger& FileLogger::logger() const noexcept { return writer_->logger; }

void FileLogger::registerSharedDataContainer(const std::string& groupIdentifier,
                                             fs::path directory) {
  ContainerRegistry& registry = containerRegistry();
  std::lock_guard lock(registry.mutex);
  registry.containers.insert_or_assign(groupIdentifier, std::move(directory));
}

void FileLogger::unregisterSharedDataContainer(const std::string& groupIdentifier) {
  ContainerRegistry& registry = containerRegistry();
  std::lock_guard lock(registry.mutex);
  if (auto it = registry.containers.find(groupIdentifier); it != registry.containers.end()) {
    registry.containers.erase(it);
  }
}

std::optional<fs::path> FileLogger::sharedDataContainer(const std::string& groupIdentifier) {
  ContainerRegistry& registry = containerRegistry();
  std::lock_guard lock(registry.mutex);
  if (auto it = registry.containers.find(groupIdentifier); it != registry.containers.end()) {
    return it->second;
  }
  return std::nullopt;
}

}  // namespace zorlan
