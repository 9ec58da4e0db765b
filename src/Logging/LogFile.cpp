#include "zorlan/Logging/LogFile.hpp"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <boost/json/monotonic_resource.hpp>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <map>
#include <utility>

#include "Logging/LogFileStorage.hpp"
#include "zorlan/Coding/JSONWriter.hpp"
#include "zorlan/Platform/Precondition.hpp"

namespace zorlan {
namespace detail {

void printLogFileDiagnostic(const std::string& line) {
  if (Logger::shared().verbosity() != 2) return;
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace detail

namespace {

namespace fs = std::filesystem;

void createEmpty(const fs::path& path) {
  std::ofstream out(path, std::ios::binary | std::ios::app);
  if (!out) throw LogFileError(LogFileError::Code::creating);
}

// Backup exclusion: the freedesktop attribute. A file system without user
// attributes does not make opening fail.
void excludeFromBackup(const fs::path& path) {
  static constexpr char kName[] = "user.xdg.robots.backup";
  static constexpr char kValue[] = "false";
  if (::setxattr(path.c_str(), kName, kValue, sizeof kValue - 1, 0) == 0) return;
  if (errno == ENOTSUP || errno == EOPNOTSUPP) return;
  throw LogFileError(LogFileError::Code::excluding);
}

std::int64_t readSize(const fs::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) throw LogFileError(LogFileError::Code::creating);
  if (!S_ISREG(info.st_mode)) throw LogFileError(LogFileError::Code::unknownSize);
  return static_cast<std::int64_t>(info.st_size);
}

}  // namespace

std::shared_ptr<LogFile> LogFile::open(const fs::path& path, std::int64_t maxSize,
                                       std::optional<Date> /*creationDate*/) {
  std::error_code exists;
  if (!fs::exists(path, exists)) createEmpty(path);
  excludeFromBackup(path);
  std::int64_t size = readSize(path);
  std::int64_t bound = 0;
  ZORLAN_PRECONDITION(!__builtin_mul_overflow(maxSize, std::int64_t{3}, &bound),
                      "log file size bound overflows");
  if (size > bound) {
    fs::remove(path);  // throws filesystem_error when it cannot
    size = 0;
    createEmpty(path);
  }
  std::shared_ptr<LogFile> file(new LogFile(path, maxSize, size));
  detail::LogFileStorage* storage = file->storage_.get();
  std::weak_ptr<LogFile> weak = file;
  file->queue_.async([weak, storage] {
    if (auto self = weak.lock()) storage->loadFromDisk();
  });
  return file;
}

LogFile::LogFile(fs::path path, std::int64_t maxSize, std::int64_t currentSize)
    : path_(std::move(path)),
      maxSize_(maxSize),
      queue_("com.corvath.core.logging.dust.file." + path_.filename().string()),
      storage_(std::make_unique<detail::LogFileStorage>(path_, currentSize, maxSize,
                                                        &detail::printLogFileDiagnostic)) {}

LogFile::~LogFile() = default;

void LogFile::append(std::string_view bytes) { storage_->append(bytes); }

std::int64_t LogFile::currentSize() const {
  return queue_.sync([this] { return storage_->currentSize(); });
}

namespace {

// Writes an event's members straight into JSON text, exactly as the JSON
// writer writes the event's tree (compact, "/" escaped, members in order).
class TextFields final : public LogEventFields {
 public:
  explicit TextFields(std::string& out) : out_(out) { out_ += '{'; }

  void string(std::string_view key, std::string_view value) override {
    writeKey(key);
    writeJSONString(value, {}, out_);
  }
  void number(std::string_view key, double value) override {
    writeKey(key);
    writeJSONNumber(value, out_);
  }
  void integer(std::string_view key, std::int64_t value) override {
    writeKey(key);
    char buffer[24];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    out_.append(buffer, end);
  }
  void strings(std::string_view key, const std::map<std::string, std::string>& value) override {
    writeKey(key);
    out_ += '{';
    bool first = true;
    for (const auto& [k, v] : value) {
      if (!std::exchange(first, false)) out_ += ',';
      writeJSONString(k, {}, out_);
      out_ += ':';
      writeJSONString(v, {}, out_);
    }
    out_ += '}';
  }
  void finish() { out_ += '}'; }

 private:
  void writeKey(std::string_view key) {
    if (!std::exchange(first_, false)) out_ += ',';
    writeJSONString(key, {}, out_);
    out_ += ':';
  }

  std::string& out_;
  bool first_ = true;
};

// The event's JSON text, written into the empty `out`: member by member when the event
// offers its members, else through its tree (kept in a stack arena).
void encodeEvent(const LogEvent& event, std::string& out) {
  TextFields fields(out);
  if (event.writeFields(fields)) {
    fields.finish();
    return;
  }
  out.clear();
  unsigned char buffer[2048];
  boost::json::monotonic_resource arena(buffer, sizeof buffer);
  writeJSON(event.toJSON(boost::json::storage_ptr(&arena)), {}, out);
}

}  // namespace

void LogFile::log(const LogEvent& event) noexcept {
  try {
    // The text lives in a buffer this thread reuses: no heap allocation per
    // event once the buffer has grown.
    thread_local std::string text;
    text.clear();
    std::optional<std::string_view> encoded;
    try {
      encodeEvent(event, text);
      encoded = text;
    } catch (const std::exception& error) {
      detail::printLogFileDiagnostic("failed to encode log item from " +
                                     std::string(event.typeName()) +
                                     ", ensure your `LogEvent`s are valid JSON: " + error.what());
    }
    if (!encoded) {
      detail::printLogFileDiagnostic("failed appending to :" + path_.string() +
                                     ", unable to serialize log event");
      return;
    }
    queue_.sync([&] {
      try {
        storage_->append(*encoded);
      } catch (const LogFileError& error) {
        detail::printLogFileDiagnostic("failed appending to :" + path_.string() + ", error:" +
                                       " " + error.what());
      }
    });
  } catch (...) {
    // Out of memory or a queue misuse: a log call never throws.
  }
}

}  // namespace zorlan
