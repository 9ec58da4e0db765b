#include "zorlan/Logging/LogFile.hpp"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/value.hpp>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "Base/Futex.hpp"
#include "Base/HotPath.hpp"
#include "Dispatch/QueueImpl.hpp"
#include "Logging/LogFileStorage.hpp"
#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Coding/JSONWriter.hpp"

namespace zorlan {

namespace fs = std::filesystem;

namespace {

std::atomic<std::int64_t> gPathCheckInterval{10'000'000};  // nanoseconds

}  // namespace

std::chrono::nanoseconds logFilePathCheckInterval() noexcept {
  return std::chrono::nanoseconds(gPathCheckInterval.load(std::memory_order_relaxed));
}

void setLogFilePathCheckInterval(std::chrono::nanoseconds interval) noexcept {
  gPathCheckInterval.store(interval.count(), std::memory_order_relaxed);
}

namespace detail {

void printLogFileDiagnostic(const std::string& line) {
  if (Logger::shared().verbosity() != 2) return;
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

// A lock taken and left with one atomic operation each while nobody waits
// for it (a std::mutex costs a call into the C library each way); a caller
// that finds it held sleeps until it is left.
class StorageLock {
 public:
  void lock() noexcept {
    std::uint32_t seen = kFree;
    if (state_.compare_exchange_strong(seen, kHeld, std::memory_order_acquire)) return;
    while (state_.exchange(kHeldWithWaiters, std::memory_order_acquire) != kFree) {
      futexWait(state_, kHeldWithWaiters);
    }
  }
  void unlock() noexcept {
    if (state_.exchange(kFree, std::memory_order_release) == kHeldWithWaiters) futexWakeOne(state_);
  }

 private:
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::uint32_t kHeld = 1;
  static constexpr std::uint32_t kHeldWithWaiters = 2;
  std::atomic<std::uint32_t> state_{kFree};
};

// The one writer of a file in the process, shared by every `LogFile` of it.
struct LogFileWriter {
  LogFileWriter(fs::path key, const std::string& label, std::int64_t currentSize,
                std::int64_t maxSize)
      : key(std::move(key)),
        queue(label),
        interval(logFilePathCheckInterval()),
        storage(this->key, currentSize, maxSize, &printLogFileDiagnostic,
                LogFilePathCheck{interval}) {
    // Taking a group allocates nothing, so it cannot fail halfway.
    batch.reserve(LogFileStorage::kMaxBatch);
    batchEntries.reserve(LogFileStorage::kMaxBatch);
  }
  ~LogFileWriter();
  LogFileWriter(const LogFileWriter&) = delete;
  LogFileWriter& operator=(const LogFileWriter&) = delete;

  // Holding `storageLock`, after a write: when the write went without asking whether
  // the path still names the file, asks once more an interval later, so the
  // last events before a quiet spell also reach a file created anew.
  void afterWrite(const std::shared_ptr<LogFileWriter>& self) noexcept;
  // On the calling thread, holding the queue: appends `entries` as one
  // group, then `afterWrite` (also when the append throws, which passes out).
  void appendOnQueue(std::span<LogFileBatchEntry* const> entries,
                     const std::shared_ptr<LogFileWriter>& self);
  // Appends `entries` and calls `afterWrite`, holding `storageLock`.
  void appendLocked(std::span<LogFileBatchEntry* const> entries,
                    const std::shared_ptr<LogFileWriter>& self);
  // Runs `work` with the storage on the queue, unless the writer is gone by then.
  static void asyncOnStorage(const std::shared_ptr<LogFileWriter>& self,
                             void (*work)(LogFileStorage& storage));

  // An event waiting to be written, on its caller's stack.
  struct Waiter {
    LogFileBatchEntry entry;
    std::exception_ptr failure;  // what the write threw, if anything
    // 0 while waiting; kDone once written (or refused); kLead when its
    // caller is to write the events waiting, its own first among them.
    std::atomic<std::uint32_t> state{0};
    std::uint32_t slot = 0;  // which of `wakes` its caller sleeps on
  };
  static constexpr std::uint32_t kDone = 1;
  static constexpr std::uint32_t kLead = 2;
  // How many groups one caller writes before handing the turn on.
  static constexpr int kGroupsPerTurn = 8;

  // Writes `waiter`'s event together with the events other threads are
  // waiting to write, and returns once it is in the file (see LogFile.cpp).
  void commit(Waiter& waiter, const std::shared_ptr<LogFileWriter>& self);
  // Writes the pending events in groups of up to kMaxBatch on the queue,
  // `own` (when given) first, and tells their callers; then hands the turn
  // on or leaves the file idle. Called with `lock` held and `phase` at
  // kEventsPending, by the caller holding the turn.
  void writePending(Waiter* own, std::unique_lock<std::mutex>& lock,
                    const std::shared_ptr<LogFileWriter>& self);
  // Writes `waiter`'s event by itself; what the write threw goes into
  // `waiter.failure`.
  void writeAlone(Waiter& waiter, const std::shared_ptr<LogFileWriter>& self) noexcept;
  // The same without the queue's `sync`, when the queue is idle (nothing
  // queued comes first, no work of it is held up); returns false (having
  // done nothing) otherwise.
  bool writeDirectly(Waiter& waiter, const std::shared_ptr<LogFileWriter>& self) noexcept;

  const fs::path key;  // the canonical path
  const DispatchQueue queue;
  const std::chrono::nanoseconds interval;
  // The storage is used holding `storageLock`: on the queue, or by a
  // caller writing its event directly while the queue is idle. Everything
  // else that touches the file goes through `queue`.
  StorageLock storageLock;
  LogFileStorage storage;
  bool checkScheduled = false;  // guarded by `storageLock`
  QueueImpl* const queueState = queueImpl(queue).get();

  // Who writes: nobody (kIdle), a caller writing its own event while nobody
  // waits (kWritingAlone: taken and left without `commitMutex`), or the
  // caller holding the turn while events are pending (kEventsPending: left
  // only under `commitMutex`).
  static constexpr std::uint32_t kIdle = 0;
  static constexpr std::uint32_t kWritingAlone = 1;
  static constexpr std::uint32_t kEventsPending = 2;
  std::atomic<std::uint32_t> phase{kIdle};
  std::mutex commitMutex;
  std::vector<Waiter*> pending;  // guarded by `commitMutex`, oldest first
  // Sleeping callers wait on one of these (by thread), bumped when one of
  // theirs has news: waking only those, and outliving every waiter.
  // `sleepers` counts the callers about to sleep or asleep on each: news for
  // callers all awake costs no system call.
  static constexpr std::uint32_t kWakeSlots = 16;
  std::array<std::atomic<std::uint32_t>, kWakeSlots> wakes{};
  std::array<std::atomic<std::uint32_t>, kWakeSlots> sleepers{};
  std::vector<Waiter*> batch;                    // used by the caller holding the turn only
  std::vector<LogFileBatchEntry*> batchEntries;  // likewise
};

}  // namespace detail

namespace {

// The live writers by canonical path. An entry names its writer so that a
// writer being destroyed leaves a newer writer's entry alone.
struct WriterRegistry {
  struct Entry {
    std::weak_ptr<detail::LogFileWriter> writer;
    const detail::LogFileWriter* identity = nullptr;
  };
  std::mutex mutex;
  std::map<fs::path, Entry> writers;
};

WriterRegistry& writerRegistry() {
  static auto* registry = new WriterRegistry();
  return *registry;
}

}  // namespace

namespace detail {

LogFileWriter::~LogFileWriter() {
  WriterRegistry& registry = writerRegistry();
  std::lock_guard lock(registry.mutex);
  auto it = registry.writers.find(key);
  const bool current = it != registry.writers.end() && it->second.identity == this;
  if (current) registry.writers.erase(it);
  // The space reserved past the end is given back only while no newer writer
  // of the file exists (cutting it then could cut that writer's events).
  storage.close(current);
}

void LogFileWriter::afterWrite(const std::shared_ptr<LogFileWriter>& self) noexcept {
  if (!storage.takeSkippedPathCheck() || checkScheduled) return;
  try {
    queue.asyncAfter(DispatchTime::now() + DispatchTimeInterval::from(interval),
                     [weak = std::weak_ptr<LogFileWriter>(self)] {
                       if (auto writer = weak.lock()) {
                         std::lock_guard lock(writer->storageLock);
                         writer->checkScheduled = false;
                         writer->storage.checkPath();
                       }
                     });
    checkScheduled = true;
  } catch (...) {
    // Out of memory: the next write after the interval asks instead.
  }
}

// Group commit. A caller whose event finds the file idle writes it at once,
// taking and leaving `phase` with one atomic operation each (directly, see
// `writeDirectly`, unless it runs work of some queue or the file's queue is
// busy). A caller that
// finds another writing marks events pending, puts its event in `pending`
// and sleeps. The one writing, once done with what it was writing, takes
// everything pending (in arrival order, so each thread's events keep their
// order) into one write on the queue, marks those events done and wakes
// their callers, and goes on while events are pending, for up to
// kGroupsPerTurn groups; then it hands the turn to the oldest pending event,
// whose caller wakes and writes the next groups. So no caller writes for
// others for long, and every caller returns once its own event is in the
// file.
//
// A caller that runs work of some queue never sleeps here: the one writing
// waits for the file's queue, which that caller might hold. It writes its
// event by itself through the queue's `sync`, which stops the process when
// the caller holds the file's queue, as a plain append from there would.
ZORLAN_HOT void LogFileWriter::commit(Waiter& waiter, const std::shared_ptr<LogFileWriter>& self) {
  std::uint32_t seen = kIdle;
  if (!phase.compare_exchange_strong(seen, kWritingAlone, std::memory_order_acquire)) {
    std::unique_lock lock(commitMutex);
    while (true) {
      seen = phase.load(std::memory_order_relaxed);
      if (seen == kIdle) {
        if (!phase.compare_exchange_strong(seen, kWritingAlone, std::memory_order_acquire))
          continue;
        lock.unlock();
        break;  // writes alone below
      }
      if (detail::innermostFrame() != nullptr) {
        lock.unlock();
        return writeAlone(waiter, self);
      }
      if (seen == kWritingAlone &&
          !phase.compare_exchange_strong(seen, kEventsPending, std::memory_order_relaxed)) {
        continue;
      }
      static std::atomic<std::uint32_t> threads{0};
      thread_local const std::uint32_t slot =
          threads.fetch_add(1, std::memory_order_relaxed) % kWakeSlots;
      waiter.slot = slot;
      pending.push_back(&waiter);  // may throw: then nothing changed but `phase`, harmlessly
      lock.unlock();
      std::atomic<std::uint32_t>& wake = wakes[slot];
      std::atomic<std::uint32_t>& sleeping = sleepers[slot];
      // Counted before looking, so that the one with news either sees this
      // caller counted or has already bumped `wake` for it (both sequentially
      // consistent).
      while (true) {
        sleeping.fetch_add(1, std::memory_order_seq_cst);
        const std::uint32_t news = wake.load(std::memory_order_seq_cst);
        const std::uint32_t state = waiter.state.load(std::memory_order_seq_cst);
        if (state == 0) futexWait(wake, news);
        sleeping.fetch_sub(1, std::memory_order_relaxed);
        if (state == kDone) return;
        if (state == kLead) break;
      }
      lock.lock();  // handed the turn: `phase` stays kEventsPending
      return writePending(&waiter, lock, self);
    }
  }
  if (detail::innermostFrame() != nullptr || !writeDirectly(waiter, self)) writeAlone(waiter, self);
  seen = kWritingAlone;
  if (phase.compare_exchange_strong(seen, kIdle, std::memory_order_release)) return;
  // Events arrived meanwhile.
  std::unique_lock lock(commitMutex);
  writePending(nullptr, lock, self);
}

ZORLAN_HOT void LogFileWriter::writePending(Waiter* own, std::unique_lock<std::mutex>& lock,
                                            const std::shared_ptr<LogFileWriter>& self) {
  for (int group = 1;; ++group) {
    if (pending.empty()) {
      phase.store(kIdle, std::memory_order_release);
      return;
    }
    // `own`, when given, is the oldest pending event.
    const std::size_t count = std::min(pending.size(), LogFileStorage::kMaxBatch);
    batch.assign(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(count));
    pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(count));
    lock.unlock();
    std::exception_ptr failure;
    try {
      batchEntries.clear();
      for (Waiter* waiter : batch) batchEntries.push_back(&waiter->entry);
      appendOnQueue(batchEntries, self);
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    Waiter* next = pending.empty() || group < kGroupsPerTurn ? nullptr : pending.front();
    if (pending.empty()) phase.store(kIdle, std::memory_order_release);
    std::uint32_t slots = 0;  // bit i: wakes[i] has news
    for (Waiter* waiter : batch) {
      waiter->failure = failure;
      if (waiter == own) continue;
      slots |= 1u << waiter->slot;
      // From here on the waiter may return and its event go away.
      waiter->state.store(kDone, std::memory_order_release);
    }
    if (next) {
      slots |= 1u << next->slot;
      next->state.store(kLead, std::memory_order_release);
    }
    const bool more = !pending.empty() && !next;
    lock.unlock();  // from here on `batch` may be another's
    for (std::uint32_t i = 0; slots != 0; ++i, slots >>= 1) {
      if ((slots & 1u) == 0) continue;
      wakes[i].fetch_add(1, std::memory_order_seq_cst);
      if (sleepers[i].load(std::memory_order_seq_cst) != 0) futexWakeAll(wakes[i]);
    }
    own = nullptr;
    if (!more) return;
    lock.lock();
  }
}

ZORLAN_HOT void LogFileWriter::appendLocked(std::span<LogFileBatchEntry* const> entries,
                                            const std::shared_ptr<LogFileWriter>& self) {
  std::lock_guard lock(storageLock);
  struct After {
    LogFileWriter& writer;
    const std::shared_ptr<LogFileWriter>& self;
    ~After() { writer.afterWrite(self); }
  } after{*this, self};
  storage.appendBatch(entries);
}

void LogFileWriter::appendOnQueue(std::span<LogFileBatchEntry* const> entries,
                                  const std::shared_ptr<LogFileWriter>& self) {
  queue.sync([&] { appendLocked(entries, self); });
}

void LogFileWriter::asyncOnStorage(const std::shared_ptr<LogFileWriter>& self,
                                   void (*work)(LogFileStorage& storage)) {
  self->queue.async([weak = std::weak_ptr<LogFileWriter>(self), work] {
    if (auto writer = weak.lock()) {
      std::lock_guard lock(writer->storageLock);
      work(writer->storage);
    }
  });
}

// A write on the calling thread instead of through the queue's `sync`, when
// the queue is idle: no work queued on it (such as the initial load) must
// come first, and no work of it holds up writes. Events are still written
// one at a time (`phase` is held), and `storageLock` keeps out work of the
// queue that starts meanwhile and a caller writing through the queue from
// work of another queue.
ZORLAN_HOT bool LogFileWriter::writeDirectly(Waiter& waiter,
                                             const std::shared_ptr<LogFileWriter>& self) noexcept {
  if (queueState->busy()) return false;
  try {
    LogFileBatchEntry* entry = &waiter.entry;
    appendLocked({&entry, 1}, self);
  } catch (...) {
    waiter.failure = std::current_exception();
  }
  return true;
}

void LogFileWriter::writeAlone(Waiter& waiter,
                               const std::shared_ptr<LogFileWriter>& self) noexcept {
  try {
    LogFileBatchEntry* entry = &waiter.entry;
    appendOnQueue({&entry, 1}, self);
  } catch (...) {
    waiter.failure = std::current_exception();
  }
}

}  // namespace detail

namespace {

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
  std::error_code unresolved;
  fs::path key = fs::canonical(path, unresolved);
  if (unresolved) key = fs::absolute(path, unresolved).lexically_normal();
  // Declared before the lock: a writer is never released while it is held.
  std::shared_ptr<detail::LogFileWriter> writer;
  WriterRegistry& registry = writerRegistry();
  std::lock_guard lock(registry.mutex);
  auto found = registry.writers.find(key);
  if (found != registry.writers.end()) writer = found->second.writer.lock();
  if (!writer) {
    std::int64_t size = readSize(path);
    std::int64_t bound = 0;
    ZORLAN_PRECONDITION(!__builtin_mul_overflow(maxSize, std::int64_t{3}, &bound),
                        "log file size bound overflows");
    if (size > bound) {
      fs::remove(path);  // throws filesystem_error when it cannot
      size = 0;
      createEmpty(path);
    }
    writer = std::make_shared<detail::LogFileWriter>(
        key, "com.corvath.core.logging.dust.file." + path.filename().string(), size, maxSize);
    registry.writers.insert_or_assign(key, WriterRegistry::Entry{writer, writer.get()});
    detail::LogFileWriter::asyncOnStorage(
        writer, [](detail::LogFileStorage& storage) { storage.loadFromDisk(); });
  } else {
    // The file may have been deleted and created again above: the writer
    // asks before its next write rather than an interval later.
    detail::LogFileWriter::asyncOnStorage(
        writer, [](detail::LogFileStorage& storage) { storage.checkPath(); });
  }
  return std::shared_ptr<LogFile>(new LogFile(path, writer));
}

LogFile::LogFile(fs::path path, std::shared_ptr<detail::LogFileWriter> writer)
    : path_(std::move(path)), writer_(std::move(writer)) {}

LogFile::~LogFile() = default;

void LogFile::append(std::string_view bytes) {
  detail::LogFileWriter::Waiter waiter;
  waiter.entry.bytes = bytes;
  writer_->commit(waiter, writer_);
  if (waiter.failure) std::rethrow_exception(waiter.failure);
  if (waiter.entry.error) throw LogFileError(*waiter.entry.error);
}

std::int64_t LogFile::maxSize() const noexcept { return writer_->storage.maxSize(); }

std::int64_t LogFile::currentSize() const {
  return writer_->queue.sync([this] {
    std::lock_guard lock(writer_->storageLock);
    return writer_->storage.currentSize();
  });
}

const DispatchQueue& LogFile::queue() const noexcept { return writer_->queue; }

std::size_t detail::waitingLogFileEvents(const fs::path& path) {
  std::error_code unresolved;
  const fs::path key = fs::canonical(path, unresolved);
  std::shared_ptr<detail::LogFileWriter> writer;
  {
    WriterRegistry& registry = writerRegistry();
    std::lock_guard lock(registry.mutex);
    if (auto found = registry.writers.find(key); found != registry.writers.end()) {
      writer = found->second.writer.lock();
    }
  }
  if (!writer) return 0;
  std::lock_guard lock(writer->commitMutex);
  return writer->pending.size();
}

namespace {

constexpr std::size_t kMaxKeptBuffer = 64 * 1024;

// Writes an event's members straight into JSON text, exactly as the JSON
// writer writes the event's tree (compact, "/" escaped, members in order).
// The text goes into `buffer`, which grows only when a member might not fit,
// and is never cut: the text is its first `size()` bytes.
class TextFields final : public LogEventFields {
 public:
  // The text starts after `offset` bytes of `buffer`. Every member is
  // written after a ','; the first one's becomes the '{'.
  TextFields(std::string& buffer, std::size_t offset)
      : buffer_(buffer), used_(offset), start_(offset) {}

  ZORLAN_HOT void string(LogFieldName name, std::string_view value) override {
    commit(writeJSONString(value, {}, writeName(name, jsonStringRoom(value, {}))));
  }
  ZORLAN_HOT void number(LogFieldName name, double value) override {
    commit(writeJSONNumber(value, writeName(name, kMaxJSONNumberSize)));
  }
  ZORLAN_HOT void integer(LogFieldName name, std::int64_t value) override {
    char* at = writeName(name, kMaxJSONNumberSize);
    commit(std::to_chars(at, at + kMaxJSONNumberSize, value).ptr);
  }
  void strings(LogFieldName name, const std::map<std::string, std::string>& value) override {
    std::size_t members = 2;
    for (const auto& [k, v] : value) members += jsonStringRoom(k, {}) + jsonStringRoom(v, {}) + 2;
    char* at = writeName(name, members);
    *at++ = '{';
    bool first = true;
    for (const auto& [k, v] : value) {
      if (!std::exchange(first, false)) *at++ = ',';
      at = writeJSONString(k, {}, at);
      *at++ = ':';
      at = writeJSONString(v, {}, at);
    }
    *at++ = '}';
    commit(at);
  }
  // The scratch space and the text.
  ZORLAN_HOT std::span<char> finish() {
    if (used_ == start_) ++used_;  // no members: "{}"
    char* at = room(1);
    buffer_[start_] = '{';
    *at = '}';
    return {buffer_.data(), ++used_};
  }

 private:
  // Room for `count` more bytes.
  ZORLAN_HOT char* room(std::size_t count) {
    if (buffer_.size() < used_ + count) [[unlikely]]
      grow(count);
    return buffer_.data() + used_;
  }
  [[gnu::noinline]] void grow(std::size_t count) {
    buffer_.resize(std::max(2 * buffer_.size(), used_ + count));
  }
  // Writes ',"name":' (names are plain: no escapes) in a few fixed-size
  // moves; leaves room for `valueSize` more bytes.
  ZORLAN_HOT char* writeName(LogFieldName name, std::size_t valueSize) {
    const std::string_view text = name.text();
    const std::size_t size = text.size();
    char* at = room(size + 4 + valueSize);
    std::memcpy(at, ",\"", 2);
    at += 2;
    if (size >= 8 && size <= 16) {
      std::uint64_t head = 0, tail = 0;
      std::memcpy(&head, text.data(), 8);
      std::memcpy(&tail, text.data() + size - 8, 8);
      std::memcpy(at, &head, 8);
      std::memcpy(at + size - 8, &tail, 8);
    } else if (size >= 4 && size < 8) {
      std::uint32_t head = 0, tail = 0;
      std::memcpy(&head, text.data(), 4);
      std::memcpy(&tail, text.data() + size - 4, 4);
      std::memcpy(at, &head, 4);
      std::memcpy(at + size - 4, &tail, 4);
    } else {
      std::memcpy(at, text.data(), size);
    }
    at += size;
    std::memcpy(at, "\":", 2);
    return at + 2;
  }
  void commit(const char* end) { used_ = static_cast<std::size_t>(end - buffer_.data()); }

  std::string& buffer_;
  std::size_t used_;
  const std::size_t start_;
};

// The log file's scratch space, then the event's JSON text, in `buffer`:
// member by member when the event offers its members, else through its tree
// (kept in a stack arena).
ZORLAN_HOT std::span<char> encodeEvent(const LogEvent& event, std::string& buffer) {
  constexpr std::size_t kScratch = detail::LogFileStorage::kScratchSize;
  TextFields fields(buffer, kScratch);
  if (event.writeFields(fields)) return fields.finish();
  buffer.assign(kScratch, ' ');
  unsigned char arenaBytes[2048];
  boost::json::monotonic_resource arena(arenaBytes, sizeof arenaBytes);
  writeJSON(event.toJSON(boost::json::storage_ptr(&arena)), {}, buffer);
  return {buffer.data(), buffer.size()};
}

}  // namespace

ZORLAN_HOT void LogFile::log(const LogEvent& event) noexcept {
  try {
    // The text lives in a buffer this thread reuses: no heap allocation per
    // event once the buffer has grown. An event that logs while it is being
    // encoded gets a buffer of its own; an outsized one is given back.
    struct ThreadBuffer {
      std::string text;
      bool busy = false;
    };
    thread_local ThreadBuffer reused ZORLAN_HOT_THREAD_LOCAL;
    std::string own;
    const bool borrowed = !reused.busy;
    std::string& buffer = borrowed ? reused.text : own;
    reused.busy = true;
    struct Release {
      ThreadBuffer& reused;
      bool borrowed;
      ~Release() {
        if (!borrowed) return;
        reused.busy = false;
        if (reused.text.size() > kMaxKeptBuffer) std::string().swap(reused.text);
      }
    } release{reused, borrowed};
    std::optional<std::span<char>> encoded;
    try {
      encoded = encodeEvent(event, buffer);
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
    constexpr std::size_t kScratch = detail::LogFileStorage::kScratchSize;
    detail::LogFileWriter::Waiter waiter;
    waiter.entry.bytes = {encoded->data() + kScratch, encoded->size() - kScratch};
    waiter.entry.scratch = encoded->data();
    // Printed on the queue, where appending the event alone would fail.
    waiter.entry.context = &path_;
    waiter.entry.onFailure = [](const detail::LogFileBatchEntry& entry, LogFileError::Code code) {
      const auto& path = *static_cast<const fs::path*>(entry.context);
      detail::printLogFileDiagnostic("failed appending to :" + path.string() + ", error:" + " " +
                                     LogFileError(code).what());
    };
    writer_->commit(waiter, writer_);
  } catch (...) {
    // Out of memory or a queue misuse: a log call never throws.
  }
}

}  // namespace zorlan
