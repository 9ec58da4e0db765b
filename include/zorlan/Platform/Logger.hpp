// The base logger: a switchable `Logger` that hands `LogEvent`s to `LogSink`s,
// and `OSLogSink`, the console sink. The library's `Log` facade and its
// reactive bindings write through it; applications may add sinks of their own.
#pragma once

#include <atomic>
#include <boost/json/fwd.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zorlan {

// Severity of a base-logger event. The order numbers match the library's
// `LogLevel`, which converts to this level by order number.
enum class LoggerLevel : std::uint8_t { none = 0, trace, debug, info, warning, error };

// The lower-case name of `level` ("none", "trace", ... "error").
std::string_view loggerLevelName(LoggerLevel level) noexcept;

// Extra key-value information attached to an event.
using LogInfo = std::map<std::string, std::string>;

// Where an event was written: a source path, a line and a function.
struct LogSource {
  std::string file;
  int line = 0;
  std::string function;

  friend bool operator==(const LogSource&, const LogSource&) = default;
};

// The name of a member of an event's JSON form: a string literal of plain
// characters (ASCII letters, digits, '_', '-' and '.'), checked when the
// program is compiled, so that writers copy it as it is.
class LogFieldName {
 public:
  template <std::size_t N>
  consteval LogFieldName(const char (&literal)[N]) : text_(literal, N - 1) {  // NOLINT
    for (char c : text_) {
      const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                         (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
      if (!plain) throw "a log field name holds only letters, digits, '_', '-' and '.'";
    }
  }
  constexpr std::string_view text() const noexcept { return text_; }

 private:
  std::string_view text_;
};

// Receives the members of an event's JSON object one by one, in order. A
// sink that writes JSON text implements it to write an event without
// building a tree first.
class LogEventFields {
 public:
  virtual void string(LogFieldName name, std::string_view value) = 0;
  virtual void number(LogFieldName name, double value) = 0;
  virtual void integer(LogFieldName name, std::int64_t value) = 0;
  // A member whose value is an object of strings (any keys).
  virtual void strings(LogFieldName name, const std::map<std::string, std::string>& value) = 0;

 protected:
  ~LogEventFields() = default;
};

// One event handed to sinks. Each event has a JSON form, one object, which
// the log file sink writes.
class LogEvent {
 public:
  virtual ~LogEvent() = default;

  virtual std::string_view message() const = 0;
  virtual std::string_view eventType() const = 0;
  virtual bool isPublic() const = 0;
  virtual LoggerLevel level() const = 0;
  // The source location, absent for events that carry none.
  virtual const std::optional<LogSource>& source() const = 0;
  // The unqualified name of the event's type, for diagnostics.
  virtual std::string_view typeName() const = 0;
  // The event as one JSON object, its memory from `storage` (the file sink
  // passes a short-lived arena). May throw when the event cannot be
  // represented (sinks report that and drop the event).
  // (Declared with Boost.JSON's forward declarations: include
  // <boost/json/value.hpp> to use the result.)
  virtual boost::json::value toJSON(boost::json::storage_ptr storage) const = 0;
  // The JSON form on the default heap storage.
  boost::json::value toJSON() const;
  // Hands the members of the JSON form to `fields`, in order, and returns
  // true; or returns false, having handed nothing, when the JSON form is not
  // a flat object of those kinds (sinks then use `toJSON`). Both forms must
  // describe the same object. May throw as `toJSON` does.
  virtual bool writeFields(LogEventFields& /*fields*/) const { return false; }
};

// The JSON form of an event as a tree, built from its fields: for events
// whose `toJSON` is their `writeFields`.
boost::json::value logEventFieldsJSON(const LogEvent& event, std::size_t memberCount,
                                      boost::json::storage_ptr storage);

// The event that `Logger::log(sender, level, ...)` builds. It encodes as
// {"message", "loggedAt" (seconds since 1970 at encoding), "level", "sender",
// "file", "line", "function"} followed by "type" and "info" when not empty.
// "loggedAt" is read from the clock when the JSON form is made.
class MessageLogEvent final : public LogEvent {
 public:
  MessageLogEvent(std::string sender, LoggerLevel level, std::string type, std::string message,
                  bool isPublic, LogInfo info, LogSource source);

  std::string_view message() const override { return message_; }
  std::string_view eventType() const override { return type_; }
  bool isPublic() const override { return isPublic_; }
  LoggerLevel level() const override { return level_; }
  const std::optional<LogSource>& source() const override { return source_; }
  std::string_view typeName() const override { return "MessageLogEvent"; }
  boost::json::value toJSON(boost::json::storage_ptr storage) const override;
  using LogEvent::toJSON;
  bool writeFields(LogEventFields& fields) const override;

  const std::string& sender() const { return sender_; }
  const LogInfo& info() const { return info_; }

 private:
  std::string sender_;
  LoggerLevel level_;
  std::string type_;
  std::string message_;
  bool isPublic_;
  LogInfo info_;
  std::optional<LogSource> source_;
};

// Receives events from a `Logger`. `log` is called on the thread that logs,
// possibly from several threads at once; implementations must be thread-safe
// and must not throw.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void log(const LogEvent& event) noexcept = 0;
};

// The console sink: writes each event's message as one line to standard error
// in a single write, so lines from several threads never interleave.
class OSLogSink final : public LogSink {
 public:
  enum class Category { standard };
  explicit OSLogSink(Category category = Category::standard) : category_(category) {}
  void log(const LogEvent& event) noexcept override;
  Category category() const noexcept { return category_; }

 private:
  Category category_;
};

// Hands events to its sinks, in the order they were added, while switched on.
// A new logger is switched off and has no sinks. Thread-safe: sinks may be
// added and events logged from any thread.
class Logger {
 public:
  Logger() = default;
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  // The process-wide logger: switched on, with one `OSLogSink`, created on
  // first use. Its one-byte `verbosity` setting controls the diagnostics the
  // library prints about its own log file (printed only while it is 2).
  static Logger& shared();

  void setEnabled(bool enabled) noexcept { enabled_.store(enabled, std::memory_order_release); }
  bool isEnabled() const noexcept { return enabled_.load(std::memory_order_acquire); }

  std::uint8_t verbosity() const noexcept { return verbosity_.load(std::memory_order_relaxed); }
  void setVerbosity(std::uint8_t value) noexcept {
    verbosity_.store(value, std::memory_order_relaxed);
  }

  // Attaches `sink`; it receives every later event.
  void add(std::shared_ptr<LogSink> sink);
  // The sinks attached so far, in order.
  std::vector<std::shared_ptr<LogSink>> sinks() const;

  // Builds a `MessageLogEvent` and delivers it to every sink, when switched on
  // and when there is a sink. Never throws.
  void log(std::string_view sender, LoggerLevel level, std::string_view type,
           std::string_view message, bool isPublic, const LogInfo& info, int line,
           std::string_view file, std::string_view function) noexcept;
  // Delivers `event` to every sink, when switched on. Never throws.
  void log(const LogEvent& event) noexcept;

 private:
  using SinkList = std::vector<std::shared_ptr<LogSink>>;

  std::atomic<bool> enabled_{false};
  std::atomic<std::uint8_t> verbosity_{0};
  // The current sink list (null: none). `add` replaces it and never changes a
  // list in place; every list stays alive as long as the logger, so logging
  // reads the current one without a lock or a reference count.
  std::atomic<const SinkList*> sinks_{nullptr};
  mutable std::mutex mutex_;  // serialises `add`
  std::vector<std::unique_ptr<const SinkList>> sinkLists_;
};

}  // namespace zorlan
