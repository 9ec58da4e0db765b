#include "zorlan/Platform/Logger.hpp"

#include <unistd.h>

#include <boost/json/object.hpp>

#include <chrono>
#include <mutex>
#include <optional>

#include <string>
#include <utility>

namespace zorlan {

std::string_view loggerLevelName(LoggerLevel level) noexcept {
  switch (level) {
    case LoggerLevel::none: return "none";
    case LoggerLevel::trace: return "trace";
    case LoggerLevel::debug: return "debug";
    case LoggerLevel::info: return "info";
    case LoggerLevel::warning: return "warning";
    case LoggerLevel::error: return "error";
  }
  return "unknown";
}

MessageLogEvent::MessageLogEvent(std::string sender, LoggerLevel level, std::string type,
                                 std::string message, bool isPublic, LogInfo info,
                                 LogSource source)
    : sender_(std::move(sender)),
      level_(level),
      type_(std::move(type)),
      message_(std::move(message)),
      isPublic_(isPublic),
      info_(std::move(info)),
      source_(std::move(source)) {}

namespace {

// The JSON form of a message event, shared by the owning and the borrowing event.
boost::json::value messageEventJSON(std::string_view message, LoggerLevel level,
                                    std::string_view sender,
                                    std::optional<std::string_view> file, int line,
                                    std::string_view function, std::string_view type,
                                    const LogInfo& info, boost::json::storage_ptr storage) {
  const double loggedAt =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  boost::json::object object(file ? 10 : 7, storage);
  object.emplace("message", message);
  object.emplace("loggedAt", loggedAt);
  object.emplace("level", loggerLevelName(level));
  object.emplace("sender", sender);
  if (file) {
    object.emplace("file", *file);
    object.emplace("line", line);
    object.emplace("function", function);
  }
  if (!type.empty()) object.emplace("type", type);
  if (!info.empty()) {
    boost::json::object infoObject(storage);
    for (const auto& [key, value] : info) infoObject[key] = value;
    object.emplace("info", std::move(infoObject));
  }
  return object;
}

}  // namespace

boost::json::value MessageLogEvent::toJSON(boost::json::storage_ptr storage) const {
  std::optional<std::string_view> file;
  if (source_) file = source_->file;
  return messageEventJSON(message_, level_, sender_, file, source_ ? source_->line : 0,
                          source_ ? std::string_view(source_->function) : std::string_view(),
                          type_, info_, std::move(storage));
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
  auto grown = std::make_shared<std::vector<std::shared_ptr<LogSink>>>(*sinks_);
  grown->push_back(std::move(sink));
  sinkCount_.store(grown->size(), std::memory_order_release);
  sinks_ = std::move(grown);
}

std::vector<std::shared_ptr<LogSink>> Logger::sinks() const {
  std::lock_guard lock(mutex_);
  return *sinks_;
}

namespace {

// The event `Logger::log(sender, level, ...)` hands to its sinks: it refers to
// the caller's texts instead of copying them, which is safe because sinks
// receive it only for the duration of their `log` call. Encodes exactly as
// `MessageLogEvent` does.
class BorrowedMessageEvent final : public LogEvent {
 public:
  BorrowedMessageEvent(std::string_view sender, LoggerLevel level, std::string_view type,
                       std::string_view message, bool isPublic, const LogInfo& info,
                       int line, std::string_view file, std::string_view function)
      : sender_(sender), level_(level), type_(type), message_(message), isPublic_(isPublic),
        info_(info), line_(line), file_(file), function_(function) {}

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
  boost::json::value toJSON(boost::json::storage_ptr storage = {}) const override {
    return messageEventJSON(message_, level_, sender_, file_, line_, function_, type_, info_,
                            std::move(storage));
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

void Logger::log(std::string_view sender, LoggerLevel level, std::string_view type,
                 std::string_view message, bool isPublic, const LogInfo& info, int line,
                 std::string_view file, std::string_view function) noexcept {
  if (!isEnabled() || sinkCount_.load(std::memory_order_acquire) == 0) return;
  log(BorrowedMessageEvent(sender, level, type, message, isPublic, info, line, file, function));
}

void Logger::log(const LogEvent& event) noexcept {
  if (!isEnabled()) return;
  std::shared_ptr<const std::vector<std::shared_ptr<LogSink>>> targets;
  {
    std::lock_guard lock(mutex_);
    targets = sinks_;
  }
  for (const auto& sink : *targets) sink->log(event);
}

}  // namespace zorlan
