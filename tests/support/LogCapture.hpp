// LogCapture: records the events the library writes through `Log`, for tests
// of what is logged. Creating one runs `Log::setup` without a log file, with
// every category at the given levels, and listens on the new console logger;
// the events come back in the order they were written.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "zorlan/Logging/Log.hpp"

namespace zorlan::testing {

struct CapturedLogEvent {
  LoggerLevel level;
  std::string message;
  std::string file;
  int line = 0;
  std::string function;
};

class LogCapture {
 public:
  explicit LogCapture(LogLevelConfig levels = LogLevelConfig::all)
      : events_(std::make_shared<Events>()) {
    Log::setup(std::nullopt, BehaviorReader<std::shared_ptr<const LogConfig>>::just(
                                 std::make_shared<UniformLogConfig>(levels)));
    Log::consoleLogger()->add(std::make_shared<Sink>(events_));
  }

  std::vector<CapturedLogEvent> events() const {
    std::lock_guard lock(events_->mutex);
    return events_->list;
  }
  std::vector<std::string> messages() const {
    std::vector<std::string> out;
    for (const auto& event : events()) out.push_back(event.message);
    return out;
  }

 private:
  struct Events {
    std::mutex mutex;
    std::vector<CapturedLogEvent> list;
  };
  struct Sink : LogSink {
    explicit Sink(std::shared_ptr<Events> events) : events(std::move(events)) {}
    void log(const LogEvent& event) noexcept override {
      CapturedLogEvent captured{event.level(), std::string(event.message()), {}, 0, {}};
      if (const auto& source = event.source()) {
        captured.file = source->file;
        captured.line = source->line;
        captured.function = source->function;
      }
      std::lock_guard lock(events->mutex);
      events->list.push_back(std::move(captured));
    }
    std::shared_ptr<Events> events;
  };

  std::shared_ptr<Events> events_;
};

}  // namespace zorlan::testing
