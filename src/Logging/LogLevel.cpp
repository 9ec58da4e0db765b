#include "zorlan/Logging/LogLevel.hpp"

namespace zorlan {
namespace {

constexpr std::string_view kRaw[] = {"none", "trace", "debug", "info", "warning", "error"};

}  // namespace

std::string_view rawValue(LogLevel level) noexcept {
  return kRaw[static_cast<std::size_t>(level)];
}

std::optional<LogLevel> logLevelFromRawValue(std::string_view raw) noexcept {
  for (std::size_t i = 0; i < std::size(kRaw); ++i) {
    if (kRaw[i] == raw) return static_cast<LogLevel>(i);
  }
  return std::nullopt;
}

LogLevel Coding<LogLevel>::decode(const Decoder& decoder) {
  std::string raw = Coding<std::string>::decode(decoder);
  if (auto level = logLevelFromRawValue(raw)) return *level;
  decoder.throwDataCorrupted("Cannot initialize LogLevel from invalid String value " + raw);
}

}  // namespace zorlan
