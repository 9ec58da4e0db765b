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
//
// One writer per file: every `LogFile` opened in the process for one file
// (by its canonical path) shares one writer, with one serial queue, one size
// count and the bound it was first opened with, for as long as any of them
// lives. Loggers that share a file therefore interleave whole events and the
// file always parses. (Other processes writing the same file are not
// coordinated with.)
//
// A file deleted, moved away or replaced from outside is noticed and created
// anew at the path, holding every event the file held, as rewriting the whole
// file would leave it; at verbosity 2 this prints "log file deleted or
// replaced on disk, writing it anew at: " and the path. Asking the file
// system whether the path still names the open file costs about as much as
// the write itself, so a busy file asks at most once per
// `logFilePathCheckInterval()` (and once more that long after its last
// unchecked write); events written meanwhile reach the new file with the
// rest.
#pragma once

#include <chrono>
#include <cstddef>
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
struct LogFileWriter;
}

// Thread-safe. Appends never overlap one another or the library's own work
// on the file (the initial load, path checks), which runs on the file's
// serial queue (shared with every `LogFile` of the same file). An append runs
// through that queue, or on the calling thread while the queue is idle; so
// work of your own put on `queue()` may start while such an append is still
// writing. Appends from many threads at once are written in groups, one
// system call per group. Equality is identity (compare the shared pointers).
class LogFile final : public LogSink {
 public:
  // Opens (creating when missing) the file at `path`, marks it excluded from
  // backup, reads its size and schedules the initial load on its queue; a
  // file already open in the process is shared as it is (no second load, no
  // removal). Throws LogFileError (`creating`, `excluding`, `unknownSize`)
  // or, when an oversized file cannot be removed,
  // std::filesystem::filesystem_error.
  // `creationDate` is accepted for callers that have one; file systems here
  // keep no settable creation date, so it changes nothing on disk.
  static std::shared_ptr<LogFile> open(const std::filesystem::path& path, std::int64_t maxSize,
                                       std::optional<Date> creationDate = std::nullopt);
  ~LogFile() override;

  // The append routine, from any thread: it runs after everything submitted
  // to the file's queue before (the initial load first), on that queue or,
  // when the queue is idle, on the calling thread, and returns once the
  // bytes are in the file. While another thread writes, the call waits
  // and its bytes go out with the other waiting events in one write, each
  // event checked against the bound and reported exactly as if appended
  // alone, in turn. Throws LogFileError `full` or `writing`. Stops the
  // process when called from work running on the file's queue.
  void append(std::string_view bytes);

  // Encodes `event` and appends it as `append` does, returning once it is in
  // the file. Never throws.
  void log(const LogEvent& event) noexcept override;

  // The path as given to `open`.
  const std::filesystem::path& path() const noexcept { return path_; }
  // The bound in effect: the one the file was first opened with.
  std::int64_t maxSize() const noexcept;
  // The size as the file knows it (after the initial load: twice the size
  // read at opening, as the append routine counts it).
  std::int64_t currentSize() const;
  // The file's serial queue, labelled "com.corvath.core.logging.dust.file."
  // and the file name.
  const DispatchQueue& queue() const noexcept;

 private:
  LogFile(std::filesystem::path path, std::shared_ptr<detail::LogFileWriter> writer);

  std::filesystem::path path_;
  std::shared_ptr<detail::LogFileWriter> writer_;
};

// How long a busy log file goes without asking whether its path still names
// the file it writes: 10 milliseconds unless set. Setting it applies to files
// opened afterwards (0: ask before every write). Thread-safe.
std::chrono::nanoseconds logFilePathCheckInterval() noexcept;
void setLogFilePathCheckInterval(std::chrono::nanoseconds interval) noexcept;

namespace detail {
// Prints `line` to standard output when `Logger::shared().verbosity()` is 2.
void printLogFileDiagnostic(const std::string& line);
// How many events wait for another caller's write to the file open at
// `path` (0 when it is not open): for tests that need writes in groups.
std::size_t waitingLogFileEvents(const std::filesystem::path& path);
}  // namespace detail

}  // namespace zorlan
