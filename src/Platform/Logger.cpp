#include "zorlan/Platform/Logger.hpp"

#include <unistd.h>

#include <boost/json/object.hpp>

#include <chrono>

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

boost::json::value MessageLogEvent::toJSON() const {
  const double loggedAt =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  boost::json::object object;
  object["message"] = message_;
  object["loggedAt"] = loggedAt;
  object["level"] = loggerLevelName(level_);
  object["sender"] = sender_;
  if (source_) {
    object["file"] = source_->file;
    object["line"] = source_->line;
    object["function"] = source_->function;
  }
  if (!type_.empty()) object["type"] = type_;
  if (!info_.empty()) {
    boost::json::object info;
    for (const auto& [key, value] : info_) info[key] = value;
    object["info"] = std::move(info);
  }
  return object;
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
  sinks_.push_back(std::move(sink));
  sinkCount_.store(sinks_.size(), std::memory_order_release);
}

std::vector<std::shared_ptr<LogSink>> Logger::sinks() const {
  std::lock_guard lock(mutex_);
  return sinks_;
}

void Logger::log(std::string_view sender, LoggerLevel level, std::string_view type,
                 std::string_view message, bool isPublic, const LogInfo& info, int line,
                 std::string_view file, std::string_view function) noexcept {
  if (!isEnabled() || sinkCount_.load(std::memory_order_acquire) == 0) return;
  try {
    MessageLogEvent event(std::string(sender), level, std::string(type), std::string(message),
                          isPublic, info,
                          LogSource{std::string(file), line, std::string(function)});
    log(event);
  } catch (...) {
    // Out of memory while building the event: the message is dropped.
  }
}

void Logger::log(const LogEvent& event) noexcept {
  if (!isEnabled()) return;
  std::vector<std::shared_ptr<LogSink>> targets;
  try {
    targets = sinks();
  } catch (...) {
    return;
  }
  for (const auto& sink : targets) sink->log(event);
}

}  // namespace zorlan
