// The bytes of one log file and the append routine that grows them.
//
// The described behaviour of a log file is a whole-file rewrite: the file's
// content is kept in memory, each append adds a chunk ("," and a line feed
// before every event but the first) and writes the whole content over the
// file. This class gives the same bytes on disk while writing only the chunk:
//
// - Invariant: the first `diskGoodLength_` bytes of the open file equal the
//   first `diskGoodLength_` bytes of the described content. Only bytes at or
//   past that offset are ever written, so no failure can break it.
// - A write puts the not-yet-written tail of the content (`unwritten_` and
//   the new chunk, or the chunk alone where the caller holds it when nothing
//   else is pending) at offset `diskGoodLength_` and cuts the file to the
//   content's length: the file then equals the content, as the whole-file
//   write would leave it.
// - A failed write keeps its chunk in `unwritten_` (the described content has
//   already grown by it), so the next successful write carries it too, exactly
//   as the next whole-file write would.
// - The initial load appends the file's own bytes, which are already on disk:
//   when it succeeds the content equals the file and nothing is written.
// - When the content is empty but the file is not (the initial load failed or
//   was refused as full), `diskGoodLength_` is 0, so the next append replaces
//   the file with its chunk, as the whole-file write does.
// - The whole-file write goes to the path. When the path no longer names the
//   open file (deleted, moved away or replaced from outside), a write first
//   creates the file at the path anew and copies the open file's first
//   `diskGoodLength_` bytes into it: the open descriptor still holds them,
//   so the new file again equals the content, as the whole-file write would
//   leave it. Asking the file system costs a system call as dear as the write
//   itself, so it is asked at most once per `LogFilePathCheck::interval`; writes in
//   between go to the open file and are copied with the rest when the change
//   is noticed. Nothing is lost meanwhile.
//
// Memory: only unwritten chunks are held, never a copy of the file.
// Disk: space past the end is reserved in steps (the size and bytes stay
// those of the content) and given back when the storage closes the file.
// Not thread-safe: `LogFile` calls it holding its writer's lock only.
#pragma once

#include <sys/uio.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zorlan/Logging/LogFileError.hpp"

namespace zorlan::detail {

// A steady clock read cheaply (to a few milliseconds).
std::chrono::nanoseconds coarseMonotonicNow() noexcept;

// When a write asks whether the path still names the open file: when
// `interval` has passed on `now` since it last asked (0: before every write).
struct LogFilePathCheck {
  std::chrono::nanoseconds interval{0};
  std::function<std::chrono::nanoseconds()> now = &coarseMonotonicNow;
};

// One event of a group appended together (see `LogFileStorage::appendBatch`).
struct LogFileBatchEntry {
  std::string_view bytes;
  // Room for the separator just before `bytes` (kScratchSize bytes), or null.
  char* scratch = nullptr;
  // Called where appending the event alone would have thrown, with what it
  // would have thrown; null: nobody is told there.
  void (*onFailure)(const LogFileBatchEntry& entry, LogFileError::Code code) = nullptr;
  const void* context = nullptr;  // for `onFailure`
  // Set by the append: absent when the event was appended (or ignored by a
  // deleted file), else the error appending it alone would have thrown.
  std::optional<LogFileError::Code> error;
};

class LogFileStorage {
 public:
  // Prints one diagnostic line (the caller decides whether it is shown).
  using Printer = std::function<void(const std::string&)>;

  // `currentSize` is the file's size as read when opening it.
  LogFileStorage(std::filesystem::path path, std::int64_t currentSize, std::int64_t maxSize,
                 Printer printer, LogFilePathCheck pathCheck = {});
  ~LogFileStorage();
  LogFileStorage(const LogFileStorage&) = delete;
  LogFileStorage& operator=(const LogFileStorage&) = delete;

  // The append routine. Throws LogFileError `full` when the size would reach
  // three times `maxSize`, `writing` (after printing why) when the write
  // fails. Does nothing once deleted. Stops the process on size overflow.
  void append(std::string_view bytes);
  // The same for bytes that follow kScratchSize bytes of scratch space in the
  // caller's buffer (`chunk` is the scratch space, then the bytes): the
  // separator goes there, so the chunk is written without a copy.
  void appendAfterScratch(std::span<char> chunk);
  static constexpr std::size_t kScratchSize = 2;
  // Appends the entries in order, with the outcome of appending each alone
  // through the append routine (the same bounds checks, refusals, bytes and
  // error reports), but in one write: the group's chunks go out together at
  // the known end. When that write fails, the entries are appended again one
  // by one, so each fails or succeeds exactly as it would have alone. At
  // most kMaxBatch entries.
  void appendBatch(std::span<LogFileBatchEntry* const> entries);
  static constexpr std::size_t kMaxBatch = 256;

  // The initial load: reads the file and appends its bytes through the append
  // routine. A failed read prints "failed opening file from disk: ..." and
  // stops; a refused append prints "failed appending data from disk: ...".
  void loadFromDisk();

  // Closes the file. With `giveBackReservedSpace`, first cuts the space
  // reserved past the end; only safe while no other writer has the file
  // open. The destructor closes with it. Later appends open the file again.
  void close(bool giveBackReservedSpace) noexcept;
  // Asks now whether the path still names the open file, and when it does
  // not, creates it anew as a write would (printing why it could not). For
  // a check that writes skipped: see `takeSkippedPathCheck`.
  void checkPath();
  // True, once, when a write since the last check went without asking.
  bool takeSkippedPathCheck() noexcept { return std::exchange(pathCheckSkipped_, false); }

  void markDeleted() noexcept { deleted_ = true; }
  bool isDeleted() const noexcept { return deleted_; }
  std::int64_t currentSize() const noexcept { return currentSize_; }
  std::int64_t maxSize() const noexcept { return maxSize_; }
  // Length of the described in-memory content.
  std::int64_t contentLength() const noexcept { return contentLength_; }
  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  void appendChunk(std::string_view bytes, char* scratch);
  // The append routine for one entry, recording its outcome.
  void appendAlone(LogFileBatchEntry& entry);
  // Grows the content by the chunk `separator` + `bytes` (size already
  // checked) and writes it; `scratch` (may be null) is room for the
  // separator just before `bytes`.
  void grow(std::string_view separator, std::string_view bytes, char* scratch);
  // Writes `tail` (the content's not-yet-written end) at `diskGoodLength_`
  // and cuts the file to the content's length. Returns an error description
  // on failure.
  std::string writeTail(std::string_view tail);
  // The same for a tail in parts (which it may change).
  std::string writeTail(std::span<iovec> parts);
  // Opens the file at the path for writing; returns an error description on
  // failure.
  std::string openFile(int flags);
  // True when it is time to ask whether the path still names the open file.
  bool pathCheckDue();
  bool pathNamesOpenFile() const;
  // Creates the file at the path anew holding the open file's first
  // `diskGoodLength_` bytes, and writes to it from now on. Returns an error
  // description on failure (the open file is kept).
  std::string writeAnewAtPath();
  void checkedAdd(std::int64_t bytes);

  std::filesystem::path path_;
  std::int64_t currentSize_;
  std::int64_t maxSize_;
  std::int64_t bound_;
  Printer printer_;
  bool deleted_ = false;
  std::int64_t contentLength_ = 0;
  std::int64_t diskGoodLength_ = 0;
  // True when the file is known to be exactly `diskGoodLength_` long (after
  // a complete write through `fd_`); then a write needs no size check.
  bool diskLengthKnown_ = false;
  std::string unwritten_;
  std::vector<iovec> parts_;  // a group's tail, reused
  int fd_ = -1;
  // The device and inode of the open file.
  std::uint64_t device_ = 0;
  std::uint64_t inode_ = 0;
  LogFilePathCheck pathCheck_;
  bool coarseNow_ = false;  // `pathCheck_.now` is coarseMonotonicNow (called directly)
  std::chrono::nanoseconds lastPathCheck_{};
  bool pathChecked_ = false;  // asked at least once since the file was opened
  bool pathCheckSkipped_ = false;
  // Disk space is reserved (not allocated to the size) up to here.
  std::int64_t reservedEnd_ = 0;
  bool reserveFailed_ = false;
  void reserveAhead();
};

}  // namespace zorlan::detail
