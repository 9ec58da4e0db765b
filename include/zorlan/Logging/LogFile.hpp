// LogFile: a size-bounded, backup-excluded file of JSON log events, and a
// sink of the base logger.
//
// On disk: the compact JSON encodings of the events, separated by "," and a
// line feed, without brackets. The bytes are exactly those of rewriting the
// whole file from memory after every append (see src/Logging/LogFileStorage.hpp
// for why writing only each chunk gives the same bytes), while an append costs
// in proportion to the event and no copy of the file is kept in memory.
//
// A file accepts data until it would reach three times `maxSize`; then every
// append fails with `full` until the file is opened again (and, when it has
// grown past three times `maxSize`, removed). The library's own failures are
// printed to standard output, and only while `Logger::shared().verbosity()`
// is 2: the logger cannot log its own failures.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Logging/LogFileError.hpp"
#include "zorlan/Platform/Date.hpp"
#include "zorlan/Platform/Logger.hpp"

namespace zorlan {

namespace detail {
class LogFileStorage;
}

// Thread-safe: appends run on the file's private serial queue. Equality is
// identity (compare the shared pointers).
class LogFile final : public LogSink {
 public:
  // Opens (creating when missing) the file at `path`, marks it excluded from
  // backup, reads its size and schedules the initial load on its queue.
  // Throws LogFileError (`creating`, `excluding`, `unknownSize`) or, when an
  // oversized file cannot be removed, std::filesystem::filesystem_error.
  // `creationDate` is accepted for callers that have one; file systems here
  // keep no settable creation date, so it changes nothing on disk.
  static std::shared_ptr<LogFile> open(const std::filesystem::path& path, std::int64_t maxSize,
                                       std::optional<Date> creationDate = std::nullopt);
  ~LogFile() override;

  // The append routine, on the calling thread (the sink calls it on the
  // file's queue). Throws LogFileError `full` or `writing`.
  void append(std::string_view bytes);

  // Encodes `event` and appends it synchronously on the file's queue. Never
  // throws.
  void log(const LogEvent& event) noexcept override;

  const std::filesystem::path& path() const noexcept { return path_; }
  std::int64_t maxSize() const noexcept { return maxSize_; }
  // The size as the file knows it (after the initial load: twice the size
  // read at opening, as the append routine counts it).
  std::int64_t currentSize() const;
  const DispatchQueue& queue() const noexcept { return queue_; }

 private:
  LogFile(std::filesystem::path path, std::int64_t maxSize, std::int64_t currentSize);

  std::filesystem::path path_;
  std::int64_t maxSize_;
  DispatchQueue queue_;
  std::unique_ptr<detail::LogFileStorage> storage_;
};

namespace detail {
// Prints `line` to standard output when `Logger::shared().verbosity()` is 2.
void printLogFileDiagnostic(const std::string& line);
}  // namespace detail

}  // namespace zorlan
