// RecordingLogSink: a sink for a `Logger` that keeps each event's message, level and source, for
// tests of what a logger hands on. With a journal, it also appends "<name>:<message>" there, so
// that several sinks can show the order they were called in.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zorlan/Platform/Logger.hpp"

namespace zorlan::testing {

struct RecordingLogSink : LogSink {
  RecordingLogSink() = default;
  RecordingLogSink(std::vector<std::string>& journal, std::string name)
      : journal(&journal), name(std::move(name)) {}
  void log(const LogEvent& event) noexcept override {
    messages.emplace_back(event.message());
    levels.push_back(event.level());
    sources.push_back(event.source());
    if (journal) journal->push_back(name + ":" + messages.back());
  }
  std::vector<std::string> messages;
  std::vector<LoggerLevel> levels;
  std::vector<std::optional<LogSource>> sources;
  std::vector<std::string>* journal = nullptr;
  std::string name;
};

}  // namespace zorlan::testing
