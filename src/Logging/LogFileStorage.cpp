#include "Logging/LogFileStorage.hpp"

#include <fcntl.h>
#include <linux/falloc.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "Base/HotPath.hpp"
#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Logging/LogFileError.hpp"

namespace zorlan::detail {
namespace {

constexpr std::string_view kSeparator = ",\n";
static_assert(kSeparator.size() == LogFileStorage::kScratchSize);

std::string errnoText(int error) { return std::strerror(error); }

// Copies the first `length` bytes of `from` to the start of `to`. Returns an
// error description on failure.
std::string copyStart(int from, int to, std::int64_t length) {
  std::string buffer(std::size_t{1} << 16, '\0');
  off_t offset = 0;
  while (offset < length) {
    const auto want = static_cast<std::size_t>(
        std::min<std::int64_t>(length - offset, static_cast<std::int64_t>(buffer.size())));
    const ssize_t got = ::pread(from, buffer.data(), want, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errnoText(errno);
    if (got == 0) return "the open file ends before its content";
    for (ssize_t done = 0; done < got;) {
      const ssize_t put =
          ::pwrite(to, buffer.data() + done, static_cast<std::size_t>(got - done), offset + done);
      if (put < 0 && errno == EINTR) continue;
      if (put < 0) return errnoText(errno);
      if (put == 0) return "no bytes written";
      done += put;
    }
    offset += got;
  }
  return {};
}

}  // namespace

std::chrono::nanoseconds coarseMonotonicNow() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

LogFileStorage::LogFileStorage(std::filesystem::path path, std::int64_t currentSize,
                               std::int64_t maxSize, Printer printer, LogFilePathCheck pathCheck)
    : path_(std::move(path)),
      currentSize_(currentSize),
      maxSize_(maxSize),
      printer_(std::move(printer)),
      pathCheck_(std::move(pathCheck)) {
  using Now = std::chrono::nanoseconds (*)() noexcept;
  const Now* now = pathCheck_.now.target<Now>();
  coarseNow_ = now != nullptr && *now == &coarseMonotonicNow;
  ZORLAN_PRECONDITION(!__builtin_mul_overflow(maxSize_, std::int64_t{3}, &bound_),
                      "log file size bound overflows");
  parts_.reserve(2 * kMaxBatch + 1);  // no allocation while writing a group
}

LogFileStorage::~LogFileStorage() { close(true); }

void LogFileStorage::close(bool giveBackReservedSpace) noexcept {
  if (fd_ < 0) return;
  // Gives back the space reserved past the end (the size stays the same).
  if (giveBackReservedSpace && reservedEnd_ > 0 && diskLengthKnown_) {
    [[maybe_unused]] int ignored = ::ftruncate(fd_, static_cast<off_t>(diskGoodLength_));
  }
  ::close(fd_);
  fd_ = -1;
  diskLengthKnown_ = false;
}

std::string LogFileStorage::openFile(int flags) {
  const int fd = ::open(path_.c_str(), O_RDWR | O_CLOEXEC | flags, 0644);
  if (fd < 0) return errnoText(errno);
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    const int error = errno;
    ::close(fd);
    return errnoText(error);
  }
  if (fd_ >= 0) ::close(fd_);
  fd_ = fd;
  device_ = static_cast<std::uint64_t>(info.st_dev);
  inode_ = static_cast<std::uint64_t>(info.st_ino);
  diskLengthKnown_ = false;
  reservedEnd_ = 0;
  reserveFailed_ = false;
  // Just opened through the path: it names this file.
  lastPathCheck_ = pathCheck_.now();
  pathChecked_ = true;
  return {};
}

ZORLAN_HOT bool LogFileStorage::pathCheckDue() {
  if (pathCheck_.interval.count() <= 0) return true;
  const std::chrono::nanoseconds now = coarseNow_ ? coarseMonotonicNow() : pathCheck_.now();
  if (pathChecked_ && now - lastPathCheck_ < pathCheck_.interval) {
    pathCheckSkipped_ = true;
    return false;
  }
  lastPathCheck_ = now;
  pathChecked_ = true;
  return true;
}

bool LogFileStorage::pathNamesOpenFile() const {
  struct stat info {};
  return ::stat(path_.c_str(), &info) == 0 && static_cast<std::uint64_t>(info.st_dev) == device_ &&
         static_cast<std::uint64_t>(info.st_ino) == inode_;
}

std::string LogFileStorage::writeAnewAtPath() {
  printer_("log file deleted or replaced on disk, writing it anew at: " + path_.string());
  const int open = fd_;
  fd_ = -1;
  std::string error = openFile(O_CREAT | O_TRUNC);
  if (error.empty()) error = copyStart(open, fd_, diskGoodLength_);
  if (!error.empty()) {
    // Keeps the open file, and asks again at the next write.
    if (fd_ >= 0) ::close(fd_);
    fd_ = open;
    diskLengthKnown_ = false;
    pathChecked_ = false;
    return error;
  }
  ::close(open);
  diskLengthKnown_ = true;  // cut to nothing, then filled to `diskGoodLength_`
  return {};
}

void LogFileStorage::checkPath() {
  if (fd_ < 0 || deleted_) return;
  lastPathCheck_ = pathCheck_.now();
  pathChecked_ = true;
  if (pathNamesOpenFile()) return;
  if (std::string error = writeAnewAtPath(); !error.empty()) {
    printer_("failed appending data at: " + path_.string() + " error: " + error);
  }
}

void LogFileStorage::reserveAhead() {
  // Disk space for the next appends, reserved in steps without changing the
  // file's size or bytes: appends then find their blocks allocated. A file
  // system that cannot reserve simply allocates as it writes.
  constexpr std::int64_t kStep = 1 << 20;
  if (contentLength_ < reservedEnd_ - kStep / 2 || reserveFailed_) return;
  const std::int64_t from = std::max(reservedEnd_, contentLength_);
  if (::fallocate(fd_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(from), kStep) != 0) {
    reserveFailed_ = true;
    return;
  }
  reservedEnd_ = from + kStep;
}

ZORLAN_HOT void LogFileStorage::checkedAdd(std::int64_t bytes) {
  std::int64_t newSize = 0;
  ZORLAN_PRECONDITION(!__builtin_add_overflow(currentSize_, bytes, &newSize),
                      "log file size overflows");
  if (newSize >= bound_) throw LogFileError(LogFileError::Code::full);
}

void LogFileStorage::append(std::string_view bytes) { appendChunk(bytes, nullptr); }

ZORLAN_HOT void LogFileStorage::appendAfterScratch(std::span<char> chunk) {
  ZORLAN_PRECONDITION(chunk.size() >= kScratchSize, "no scratch space before the bytes");
  appendChunk({chunk.data() + kScratchSize, chunk.size() - kScratchSize}, chunk.data());
}

ZORLAN_HOT void LogFileStorage::appendChunk(std::string_view bytes, char* scratch) {
  if (deleted_) return;
  checkedAdd(static_cast<std::int64_t>(bytes.size()));
  grow(contentLength_ > 0 ? kSeparator : std::string_view(), bytes, scratch);
}

ZORLAN_HOT void LogFileStorage::appendAlone(LogFileBatchEntry& entry) {
  try {
    appendChunk(entry.bytes, entry.scratch);
    entry.error.reset();
  } catch (const LogFileError& error) {
    entry.error = error.code();
    if (entry.onFailure) entry.onFailure(entry, error.code());
  }
}

void LogFileStorage::appendBatch(std::span<LogFileBatchEntry* const> entries) {
  ZORLAN_PRECONDITION(entries.size() <= kMaxBatch, "too many log events in one group");
  if (entries.size() == 1) return appendAlone(*entries[0]);
  if (deleted_) {
    for (LogFileBatchEntry* entry : entries) entry->error.reset();
    return;
  }
  // The entries in order, each checked against the size the ones before it
  // left, as appending them one by one would.
  const std::int64_t contentBefore = contentLength_;
  const std::int64_t sizeBefore = currentSize_;
  parts_.clear();
  if (!unwritten_.empty()) parts_.push_back({unwritten_.data(), unwritten_.size()});
  bool accepted = false;  // (an empty event is written too: the write may fail)
  for (LogFileBatchEntry* entry : entries) {
    try {
      checkedAdd(static_cast<std::int64_t>(entry->bytes.size()));
    } catch (const LogFileError& error) {
      entry->error = error.code();
      continue;
    }
    entry->error.reset();
    accepted = true;
    char* bytes = const_cast<char*>(entry->bytes.data());
    const bool first = contentLength_ == 0;
    const auto length =
        static_cast<std::int64_t>((first ? 0 : kSeparator.size()) + entry->bytes.size());
    contentLength_ += length;
    currentSize_ += length;
    if (first) {
      parts_.push_back({bytes, entry->bytes.size()});
    } else if (entry->scratch) {
      std::memcpy(entry->scratch, kSeparator.data(), kSeparator.size());
      parts_.push_back({entry->scratch, kSeparator.size() + entry->bytes.size()});
    } else {
      parts_.push_back({const_cast<char*>(kSeparator.data()), kSeparator.size()});
      parts_.push_back({bytes, entry->bytes.size()});
    }
  }
  if (accepted) {
    if (!writeTail(parts_).empty()) {
      // Appending one by one instead: each write carries what is pending and
      // reports its own failure, as it would have without the group.
      contentLength_ = contentBefore;
      currentSize_ = sizeBefore;
      for (LogFileBatchEntry* entry : entries) appendAlone(*entry);
      return;
    }
    unwritten_.clear();
  }
  for (LogFileBatchEntry* entry : entries) {
    if (entry->error && entry->onFailure) entry->onFailure(*entry, *entry->error);
  }
}

ZORLAN_HOT void LogFileStorage::grow(std::string_view separator, std::string_view bytes,
                                     char* scratch) {
  const auto length = static_cast<std::int64_t>(separator.size() + bytes.size());
  contentLength_ += length;
  currentSize_ += length;
  // The tail to write: the chunk where it lies (the separator put in the
  // caller's scratch space) when nothing is pending, else everything pending.
  std::string_view tail;
  const bool direct = unwritten_.empty() && (separator.empty() || scratch != nullptr);
  if (direct && separator.empty()) {
    tail = bytes;
  } else if (direct) {
    std::memcpy(scratch, separator.data(), separator.size());
    tail = {scratch, separator.size() + bytes.size()};
  } else {
    unwritten_.append(separator).append(bytes);
    tail = unwritten_;
  }
  std::string error = writeTail(tail);
  if (error.empty()) {
    unwritten_.clear();
    return;
  }
  // The chunk stays pending, so the next successful write carries it.
  if (direct) unwritten_.append(separator).append(bytes);
  printer_("failed appending data at: " + path_.string() + " error: " + error);
  throw LogFileError(LogFileError::Code::writing);
}

ZORLAN_HOT std::string LogFileStorage::writeTail(std::string_view tail) {
  iovec part{const_cast<char*>(tail.data()), tail.size()};
  return writeTail(std::span<iovec>(&part, 1));
}

ZORLAN_HOT std::string LogFileStorage::writeTail(std::span<iovec> parts) {
  if (fd_ < 0) {
    if (std::string error = openFile(O_CREAT); !error.empty()) return error;
  } else if (pathCheckDue() && !pathNamesOpenFile()) {
    if (std::string error = writeAnewAtPath(); !error.empty()) return error;
  }
  off_t offset = static_cast<off_t>(diskGoodLength_);
  // Until this write is through, the file's length is not known.
  const bool lengthWasKnown = std::exchange(diskLengthKnown_, false);
  std::size_t next = 0;  // the first part not written in full
  while (next < parts.size()) {
    if (parts[next].iov_len == 0) {
      ++next;
      continue;
    }
    const std::size_t count = std::min<std::size_t>(parts.size() - next, IOV_MAX);
    const ssize_t written = count == 1
                                ? ::pwrite(fd_, parts[next].iov_base, parts[next].iov_len, offset)
                                : ::pwritev(fd_, &parts[next], static_cast<int>(count), offset);
    if (written < 0) {
      if (errno == EINTR) continue;
      return errnoText(errno);
    }
    if (written == 0) return "no bytes written";
    offset += written;
    for (auto left = static_cast<std::size_t>(written); left > 0;) {
      iovec& part = parts[next];
      if (left < part.iov_len) {
        part.iov_base = static_cast<char*>(part.iov_base) + left;
        part.iov_len -= left;
        break;
      }
      left -= part.iov_len;
      ++next;
    }
  }
  // A file known to end at `diskGoodLength_` now ends at the content's end:
  // nothing to cut, and no need to ask the file system.
  if (!lengthWasKnown) {
    struct stat info {};
    if (::fstat(fd_, &info) != 0) return errnoText(errno);
    if (info.st_size != static_cast<off_t>(contentLength_) &&
        ::ftruncate(fd_, static_cast<off_t>(contentLength_)) != 0) {
      return errnoText(errno);
    }
  }
  diskGoodLength_ = contentLength_;
  diskLengthKnown_ = true;
  reserveAhead();
  return {};
}

void LogFileStorage::loadFromDisk() {
  // The bytes are counted through the descriptor later writes use, when the
  // file can be written, so they are those of the file written to.
  std::string writeError;
  if (fd_ < 0) writeError = openFile(0);
  const int in = fd_ >= 0 ? fd_ : ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  std::int64_t length = 0;
  int readError = 0;
  if (in < 0) {
    readError = errno;
  } else {
    // Stream through the file: the bytes are only counted, never kept.
    char buffer[1 << 16];
    while (true) {
      ssize_t n = ::pread(in, buffer, sizeof buffer, static_cast<off_t>(length));
      if (n < 0) {
        if (errno == EINTR) continue;
        readError = errno;
        break;
      }
      if (n == 0) break;
      length += n;
    }
    if (in != fd_) ::close(in);
  }
  if (readError != 0) {
    printer_("failed opening file from disk: " + path_.string() +
             " error: " + errnoText(readError));
    return;
  }
  try {
    if (deleted_) return;
    checkedAdd(length);
    // The content is empty before the load, so the chunk is the file's bytes
    // alone, and they are on disk already: the whole-file write would only
    // repeat them. Its one observable effect, a failure when the file cannot
    // be written, is kept by opening the file for writing above.
    contentLength_ += length;
    currentSize_ += length;
    diskGoodLength_ = length;
    if (fd_ < 0) {
      printer_("failed appending data at: " + path_.string() + " error: " + writeError);
      throw LogFileError(LogFileError::Code::writing);
    }
  } catch (const LogFileError& error) {
    printer_("failed appending data from disk: " + path_.string() + " error: " + error.what());
  }
}

}  // namespace zorlan::detail
