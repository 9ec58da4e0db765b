#include "zorlan/Logging/LogLevel.hpp"

#include "zorlan/Coding/Codable.hpp"

namespace zorlan {
namespace {

constexpr std::string_view kRaw[] = {"none", "trace", "debug", "info", "warning", "error"};

}  // namespace

std::string_view rawValue(LogLevel level) noexcept { return kRaw[static_cast<std::size_t>(level)]; }

std::optional<LogLevel> logLevelFromRawValue(std::string_view raw) noexcept {
  for (std::size_t i = 0; i < std::size(kRaw); ++i) {
    if (kRaw[i] == raw) return static_cast<LogLevel>(i);
  }
  return std::nullopt;
}

void Coding<LogLevel>::encode(LogLevel level, Encoder& encoder) {
  Coding<std::string>::encode(std::string(rawValue(level)), encoder);
}

LogLevel Coding<LogLevel>::decode(const Decoder& decoder) {
  std::string raw = Coding<std::string>::decode(decoder);
  if (auto level = logLevelFromRawValue(raw)) return *level;
  decoder.throwDataCorrupted("Cannot initialize LogLevel from invalid String value " + raw);
}

void Coding<LogLevelConfig>::encode(const LogLevelConfig& config, Encoder& encoder) {
  KeyedEncodingContainer c = encoder.container();
  c.encode(config.console, "console");
  c.encode(config.file, "file");
}

LogLevelConfig Coding<LogLevelConfig>::decode(const Decoder& decoder) {
  KeyedDecodingContainer c = decoder.container();
  LogLevelConfig config;
  config.console = c.decode<LogLevel>("console");
  config.file = c.decode<LogLevel>("file");
  return config;
}

}  // namespace zorlan
