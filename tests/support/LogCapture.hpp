// LogCapture: records the events the library writes through `Log`, for tests of what is logged.
// Creating one runs `Log::setup` without a log file, with every category at the given levels,
// and listens on the new console logger; the events come back in the order they were written.
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
      : sink_(std::make_shared<Sink>()) {
    Log::setup(std::nullopt, BehaviorReader<std::shared_ptr<const LogConfig>>::just(
                                 std::make_shared<UniformLogConfig>(levels)));
    Log::consoleLogger()->add(sink_);
  }

  std::vector<CapturedLogEvent> events() const {
    std::lock_guard lock(sink_->mutex);
    return sink_->events;
  }
  std::vector<std::string> messages() const {
    std::vector<std::string> out;
    for (const auto& event : events()) out.push_back(event.message);
    return out;
  }

 private:
  struct Sink : LogSink {
    void log(const LogEvent& event) noexcept override {
      const auto& source = event.source();
      std::lock_guard lock(mutex);
      events.push_back({event.level(), std::string(event.message()), source ? source->file : "",
                        source ? source->line : 0, source ? source->function : ""});
    }
    std::mutex mutex;
    std::vector<CapturedLogEvent> events;
  };

  std::shared_ptr<Sink> sink_;
};

}  // namespace zorlan::testing
