#include "zorlan/Logging/Log.hpp"

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "Base/HotPath.hpp"
#include "zorlan/Coding/Codable.hpp"
#include "zorlan/Logging/LogFile.hpp"

namespace zorlan {
namespace {

constexpr std::int64_t kLogFileMaxSize = 52'428'800;  // 50 MiB

// The process-wide loggers. Each is held by a reference-counted slot, which
// a message about to be written copies (so a logger replaced by `setup`
// lives until the last message using it is through, and no longer), and is
// mirrored by a plain pointer that a message below every threshold reads to
// see whether the logger exists at all: that path takes no reference and
// never follows the pointer.
std::atomic<Logger*> gConsoleLogger{nullptr};
std::atomic<Logger*> gFileLogger{nullptr};

// One logger, copied out under a lock held for a reference-count increment.
// (std::atomic<std::shared_ptr> in libstdc++ 12 releases its internal lock
// with relaxed ordering after a load, so a load and a later store are not
// ordered: a race on weakly ordered processors, and what thread sanitizers
// report.) Spins, yielding, as the critical section is a few instructions.
class LoggerSlot {
 public:
  std::shared_ptr<Logger> load() const noexcept {
    lock();
    std::shared_ptr<Logger> copy = logger_;
    locked_.store(false, std::memory_order_release);
    return copy;
  }
  void store(std::shared_ptr<Logger> logger) noexcept {
    lock();
    logger_.swap(logger);
    locked_.store(false, std::memory_order_release);
    // The replaced logger is released here, outside the lock.
  }

 private:
  void lock() const noexcept {
    while (locked_.exchange(true, std::memory_order_acquire)) {
      while (locked_.load(std::memory_order_relaxed)) std::this_thread::yield();
    }
  }
  mutable std::atomic<bool> locked_{false};
  std::shared_ptr<Logger> logger_;
};

struct LoggerSlots {
  LoggerSlot console;
  LoggerSlot file;
};

// Never destroyed: threads may still log while the process exits.
LoggerSlots& slots() {
  static auto* held = new LoggerSlots();
  return *held;
}

// Makes `logger` the one in `slot`; the one it replaces goes once the
// messages using it are through.
void install(LoggerSlot& slot, std::atomic<Logger*>& present, std::shared_ptr<Logger> logger) {
  Logger* raw = logger.get();
  slot.store(std::move(logger));
  present.store(raw, std::memory_order_release);
}

const Log& defaultLog() {
  static const Log* log =
      new Log(std::nullopt, BehaviorReader<LogLevelConfig>::just(LogLevelConfig::none));
  return *log;
}

Log& category(int index) {
  static Log* categories[12] = {};
  static std::once_flag once;
  std::call_once(once, [] {
    for (Log*& c : categories) c = new Log(defaultLog());
  });
  return *categories[index];
}

std::string_view mark(LogLevel level) {
  switch (level) {
    case LogLevel::warning:
      return "\u26A0\uFE0F";
    case LogLevel::error:
      return "\u274C";
    default:
      return {};
  }
}

}  // namespace

Log& Log::shared() { return category(0); }
Log& Log::content() { return category(1); }
Log& Log::localization() { return category(2); }
Log& Log::analytics() { return category(3); }
Log& Log::onboarding() { return category(4); }
Log& Log::paywall() { return category(5); }
Log& Log::playback() { return category(6); }
Log& Log::chromecast() { return category(7); }
Log& Log::shareplay() { return category(8); }
Log& Log::ctvActivation() { return category(9); }
Log& Log::downloads() { return category(10); }
Log& Log::qoe() { return category(11); }

std::shared_ptr<Logger> Log::consoleLogger() noexcept { return slots().console.load(); }
std::shared_ptr<Logger> Log::fileLogger() noexcept { return slots().file.load(); }

bool Log::anyTarget(LogLevelConfig thresholds, LogLevel level) noexcept {
  return (thresholds.console <= level && gConsoleLogger.load(std::memory_order_acquire)) ||
         (thresholds.file <= level && gFileLogger.load(std::memory_order_acquire));
}

const std::string& Log::senderTypeName(const char* mangled) {
  return *new std::string(detail::demangledTypeName(mangled));  // one per type, kept for good
}

ZORLAN_HOT void Log::writeComposed(LogLevel level, std::string_view sender,
                                   std::string_view message, const SourceLocation& where) const {
  const LogLevelConfig thresholds = config_.value();
  LoggerSlots& held = slots();
  const std::shared_ptr<Logger> console =
      thresholds.console <= level ? held.console.load() : std::shared_ptr<Logger>();
  const std::shared_ptr<Logger> file =
      thresholds.file <= level ? held.file.load() : std::shared_ptr<Logger>();
  if (!console && !file) return;
  // The line: prefix, mark and message joined by single spaces. Composed on
  // the stack when it fits (sinks may log in turn, so no shared buffer); the
  // message alone is the line as it is.
  const std::string_view prefix = prefix_ ? std::string_view(*prefix_) : std::string_view();
  const std::string_view levelMark = mark(level);
  char stack[512];
  std::string heap;
  std::string_view line = message;
  if (!prefix.empty() || !levelMark.empty()) {
    const std::size_t length = prefix.size() + levelMark.size() + message.size() + 2;
    char* out = stack;
    if (length > sizeof stack) {
      heap.resize(length);
      out = heap.data();
    }
    char* end = out;
    auto put = [&end](std::string_view part) {
      if (part.empty()) return;
      std::memcpy(end, part.data(), part.size());
      end += part.size();
    };
    put(prefix);
    if (!levelMark.empty()) {
      if (end != out) *end++ = ' ';
      put(levelMark);
    }
    if (end != out) *end++ = ' ';
    put(message);
    line = std::string_view(out, static_cast<std::size_t>(end - out));
  }
  static const LogInfo* const noInfo = new LogInfo();  // kept for good, as threads may log at exit
  const std::string_view fileName = where.file_name(), function = where.function_name();
  for (Logger* target : {console.get(), file.get()}) {
    if (target == nullptr) continue;
    target->log(sender, static_cast<LoggerLevel>(level), "", line, true, *noInfo, where.line(),
                fileName, function);
  }
}

SourceLocation Log::fixedLocation(LogLevel level) noexcept {
  static constexpr const char* kFile = "Logging/Log";
  static constexpr const char* kFunction = "log(_:level:message:line:file:function:)";
  switch (level) {
    case LogLevel::info:
      return SourceLocation(kFile, 125, kFunction);
    case LogLevel::debug:
      return SourceLocation(kFile, 127, kFunction);
    case LogLevel::error:
      return SourceLocation(kFile, 129, kFunction);
    default:
      return SourceLocation(kFile, 131, kFunction);
  }
}

void Log::setup(const std::optional<std::filesystem::path>& fileLocation,
                const BehaviorReader<std::shared_ptr<const LogConfig>>& config) {
  auto console = std::make_shared<Logger>();
  console->setEnabled(true);
  console->add(std::make_shared<OSLogSink>());
  install(slots().console, gConsoleLogger, std::move(console));

  if (fileLocation) {
    try {
      auto file = LogFile::open(*fileLocation, kLogFileMaxSize);
      auto fileLogger = std::make_shared<Logger>();
      fileLogger->setEnabled(true);
      fileLogger->add(file);
      install(slots().file, gFileLogger, std::move(fileLogger));
    } catch (...) {
      // No file logging; the earlier file logger (normally none) stays.
    }
  }

  using Select = LogLevelConfig (LogConfig::*)() const;
  struct Binding {
    Log& (*category)();
    Select select;
    std::optional<std::string> prefix;
  };
  const Binding bindings[] = {
      {&Log::shared, &LogConfig::shared, std::nullopt},
      {&Log::content, &LogConfig::content, "\U0001F30F"},
      {&Log::localization, &LogConfig::localization, "\U0001F4D6"},
      {&Log::analytics, &LogConfig::analytics, "\U0001F4C8"},
      {&Log::onboarding, &LogConfig::onboarding, "\U0001F464"},
      {&Log::paywall, &LogConfig::paywall, "\U0001F4B0"},
      {&Log::playback, &LogConfig::playback, "\U0001F3AC"},
      {&Log::chromecast, &LogConfig::chromecast, "[cast]"},
      {&Log::shareplay, &LogConfig::shareplay, "\U0001F465"},
      {&Log::ctvActivation, &LogConfig::ctvActivation, "\U0001F4FA\u2194\uFE0F\U0001F4F1"},
      {&Log::downloads, &LogConfig::downloads, "\U0001F4BE"},
      {&Log::qoe, &LogConfig::qoe, "\U0001F575\uFE0F"},
  };
  for (const Binding& b : bindings) {
    Select select = b.select;
    auto levels = config.asObservable().map(
        [select](const std::shared_ptr<const LogConfig>& c) { return ((*c).*select)(); });
    LogLevelConfig initial = ((*config.value()).*select)();
    b.category() = Log(b.prefix, BehaviorReader<LogLevelConfig>(levels, initial));
  }
}

}  // namespace zorlan
