#include "zorlan/Platform/Logger.hpp"

#include <unistd.h>

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Base/HotPath.hpp"

namespace zorlan {

std::string_view loggerLevelName(LoggerLevel level) noexcept {
  switch (level) {
    case LoggerLevel::none:
      return "none";
    case LoggerLevel::trace:
      return "trace";
    case LoggerLevel::debug:
      return "debug";
    case LoggerLevel::info:
      return "info";
    case LoggerLevel::warning:
      return "warning";
    case LoggerLevel::error:
      return "error";
  }
  return "unknown";
}

MessageLogEvent::MessageLogEvent(std::string sender, LoggerLevel level, std::string type,
                                 std::string message, bool isPublic, LogInfo info, LogSource source)
    : sender_(std::move(sender)),
      level_(level),
      type_(std::move(type)),
      message_(std::move(message)),
      isPublic_(isPublic),
      info_(std::move(info)),
      source_(std::move(source)) {}

namespace {

// The clock to the microsecond (the resolution of the platform's dates).
ZORLAN_HOT double secondsSince1970Now() {
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::system_clock::now().time_since_epoch());
  return static_cast<double>(micros.count()) / 1e6;
}

// The members of a message event, shared by the owning and the borrowing
// event: "message", "loggedAt", "level", "sender", then "file", "line" and
// "function" when there is a source, then "type" and "info" when not empty.
ZORLAN_HOT void writeMessageEventFields(LogEventFields& fields, std::string_view message,
                                        LoggerLevel level, std::string_view sender,
                                        std::optional<std::string_view> file, int line,
                                        std::string_view function, std::string_view type,
                                        const LogInfo& info) {
  fields.string("message", message);
  fields.number("loggedAt", secondsSince1970Now());
  fields.string("level", loggerLevelName(level));
  fields.string("sender", sender);
  if (file) {
    fields.string("file", *file);
    fields.integer("line", line);
    fields.string("function", function);
  }
  if (!type.empty()) fields.string("type", type);
  if (!info.empty()) fields.strings("info", info);
}

// Collects members into a JSON object.
class TreeFields final : public LogEventFields {
 public:
  TreeFields(std::size_t capacity, boost::json::storage_ptr storage)
      : object_(capacity, std::move(storage)) {}

  void string(LogFieldName name, std::string_view value) override {
    object_.emplace(name.text(), value);
  }
  void number(LogFieldName name, double value) override { object_.emplace(name.text(), value); }
  void integer(LogFieldName name, std::int64_t value) override {
    object_.emplace(name.text(), value);
  }
  void strings(LogFieldName name, const std::map<std::string, std::string>& value) override {
    boost::json::object members(object_.storage());
    for (const auto& [k, v] : value) members[k] = v;
    object_.emplace(name.text(), std::move(members));
  }

  boost::json::object take() { return std::move(object_); }

 private:
  boost::json::object object_;
};

}  // namespace

boost::json::value logEventFieldsJSON(const LogEvent& event, std::size_t memberCount,
                                      boost::json::storage_ptr storage) {
  TreeFields tree(memberCount, std::move(storage));
  event.writeFields(tree);
  return tree.take();
}

boost::json::value LogEvent::toJSON() const { return toJSON(boost::json::storage_ptr()); }

boost::json::value MessageLogEvent::toJSON(boost::json::storage_ptr storage) const {
  return logEventFieldsJSON(*this, source_ ? 9 : 6, std::move(storage));
}

bool MessageLogEvent::writeFields(LogEventFields& fields) const {
  std::optional<std::string_view> file;
  if (source_) file = source_->file;
  writeMessageEventFields(fields, message_, level_, sender_, file, source_ ? source_->line : 0,
                          source_ ? std::string_view(source_->function) : std::string_view(), type_,
                          info_);
  return true;
}

void OSLogSink::log(const LogEvent& event) noexcept {
  std::string line;
  line.reserve(event.message().size() + 1);
  line.append(event.message());
  line.push_back('\n');
  const char* data = line.data();
  std::size_t left = line.size();
  while (left > 0) {
    ssize_t written = ::write(STDERR_FILENO, data, left);
    if (written <= 0) return;  // the console is gone; nothing better to do
    data += written;
    left -= static_cast<std::size_t>(written);
  }
}

Logger& Logger::shared() {
  static Logger* logger = [] {
    auto* created = new Logger();  // lives for the whole process
    created->setEnabled(true);
    created->add(std::make_shared<OSLogSink>());
    return created;
  }();
  return *logger;
}

void Logger::add(std::shared_ptr<LogSink> sink) {
  if (!sink) return;
  std::lock_guard lock(mutex_);
  auto grown = std::make_unique<SinkList>();
  if (const SinkList* current = sinks_.load(std::memory_order_relaxed)) *grown = *current;
  grown->push_back(std::move(sink));
  sinks_.store(grown.get(), std::memory_order_release);
  sinkLists_.push_back(std::move(grown));
}

std::vector<std::shared_ptr<LogSink>> Logger::sinks() const {
  const SinkList* current = sinks_.load(std::memory_order_acquire);
  return current ? *current : SinkList{};
}

namespace {

// The event `Logger::log(sender, level, ...)` hands to its sinks: it refers to
// the caller's texts instead of copying them, which is safe because sinks
// receive it only for the duration of their `log` call. Encodes exactly as
// `MessageLogEvent` does.
class BorrowedMessageEvent final : public LogEvent {
 public:
  BorrowedMessageEvent(std::string_view sender, LoggerLevel level, std::string_view type,
                       std::string_view message, bool isPublic, const LogInfo& info, int line,
                       std::string_view file, std::string_view function)
      : sender_(sender),
        level_(level),
        type_(type),
        message_(message),
        isPublic_(isPublic),
        info_(info),
        line_(line),
        file_(file),
        function_(function) {}

  std::string_view message() const override { return message_; }
  std::string_view eventType() const override { return type_; }
  bool isPublic() const override { return isPublic_; }
  LoggerLevel level() const override { return level_; }
  const std::optional<LogSource>& source() const override {
    // Made on demand: the file sink and the console read only the JSON form
    // and the message.
    std::call_once(sourceOnce_, [this] {
      source_ = LogSource{std::string(file_), line_, std::string(function_)};
    });
    return source_;
  }
  std::string_view typeName() const override { return "MessageLogEvent"; }
  boost::json::value toJSON(boost::json::storage_ptr storage) const override {
    return logEventFieldsJSON(*this, 9, std::move(storage));
  }
  ZORLAN_HOT bool writeFields(LogEventFields& fields) const override {
    writeMessageEventFields(fields, message_, level_, sender_, file_, line_, function_, type_,
                            info_);
    return true;
  }

 private:
  std::string_view sender_;
  LoggerLevel level_;
  std::string_view type_;
  std::string_view message_;
  bool isPublic_;
  const LogInfo& info_;
  int line_;
  std::string_view file_;
  std::string_view function_;
  mutable std::once_flag sourceOnce_;
  mutable std::optional<LogSource> source_;
};

}  // namespace

ZORLAN_HOT void Logger::log(std::string_view sender, LoggerLevel level, std::string_view type,
                            std::string_view message, bool isPublic, const LogInfo& info, int line,
                            std::string_view file, std::string_view function) noexcept {
  if (!isEnabled() || sinks_.load(std::memory_order_acquire) == nullptr) return;
  log(BorrowedMessageEvent(sender, level, type, message, isPublic, info, line, file, function));
}

ZORLAN_HOT void Logger::log(const LogEvent& event) noexcept {
  if (!isEnabled()) return;
  const SinkList* targets = sinks_.load(std::memory_order_acquire);
  if (targets == nullptr) return;
  for (const auto& sink : *targets) sink->log(event);
}

}  // namespace zorlan
