#include "Logging/LogFileStorage.hpp"

#include <fcntl.h>
#include <linux/falloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Platform/HotPath.hpp"
#include "zorlan/Logging/LogFileError.hpp"
#include "zorlan/Platform/Precondition.hpp"

namespace zorlan::detail {
namespace {

constexpr std::string_view kSeparator = ",\n";
static_assert(kSeparator.size() == LogFileStorage::kScratchSize);

std::string errnoText(int error) { return std::strerror(error); }

}  // namespace

LogFileStorage::LogFileStorage(std::filesystem::path path, std::int64_t currentSize,
                               std::int64_t maxSize, Printer printer)
    : path_(std::move(path)),
      currentSize_(currentSize),
      maxSize_(maxSize),
      printer_(std::move(printer)) {
  ZORLAN_PRECONDITION(!__builtin_mul_overflow(maxSize_, std::int64_t{3}, &bound_),
                      "log file size bound overflows");
}

LogFileStorage::~LogFileStorage() {
  if (fd_ < 0) return;
  // Gives back the space reserved past the end (the size stays the same).
  if (reservedEnd_ > 0 && diskLengthKnown_) {
    [[maybe_unused]] int ignored = ::ftruncate(fd_, static_cast<off_t>(diskGoodLength_));
  }
  ::close(fd_);
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
  if (fd_ < 0) {
    fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd_ < 0) return errnoText(errno);
  }
  const char* data = tail.data();
  std::size_t left = tail.size();
  off_t offset = static_cast<off_t>(diskGoodLength_);
  // Until this write is through, the file's length is not known.
  const bool lengthWasKnown = std::exchange(diskLengthKnown_, false);
  while (left > 0) {
    ssize_t written = ::pwrite(fd_, data, left, offset);
    if (written < 0) {
      if (errno == EINTR) continue;
      return errnoText(errno);
    }
    if (written == 0) return "no bytes written";
    data += written;
    left -= static_cast<std::size_t>(written);
    offset += written;
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
  int in = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  std::int64_t length = 0;
  int readError = 0;
  if (in < 0) {
    readError = errno;
  } else {
    // Stream through the file: the bytes are only counted, never kept.
    char buffer[1 << 16];
    while (true) {
      ssize_t n = ::read(in, buffer, sizeof buffer);
      if (n < 0) {
        if (errno == EINTR) continue;
        readError = errno;
        break;
      }
      if (n == 0) break;
      length += n;
    }
    ::close(in);
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
    // be written, is kept by opening the file for writing here.
    contentLength_ += length;
    currentSize_ += length;
    diskGoodLength_ = length;
    if (fd_ < 0) fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd_ < 0) {
      int error = errno;
      printer_("failed appending data at: " + path_.string() + " error: " + errnoText(error));
      throw LogFileError(LogFileError::Code::writing);
    }
  } catch (const LogFileError& error) {
    printer_("failed appending data from disk: " + path_.string() + " error: " + error.what());
  }
}

}  // namespace zorlan::detail
