// LogLevel and LogLevelConfig: message severities and the thresholds that
// decide which messages reach the console and the log file.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "zorlan/Coding/CodingFwd.hpp"

namespace zorlan {

// Severities, ordered as declared: none < trace < debug < info < warning < error.
// Coded as its raw string ("none", "trace", ...).
enum class LogLevel : std::uint8_t { none = 0, trace, debug, info, warning, error };

// "none", "trace", "debug", "info", "warning" or "error".
std::string_view rawValue(LogLevel level) noexcept;
// The level with that raw string; absent for any other text.
std::optional<LogLevel> logLevelFromRawValue(std::string_view raw) noexcept;

// Codes as its raw string; decoding any other text is a data-corrupted error.
template <>
struct Coding<LogLevel> {
  static void encode(LogLevel level, Encoder& encoder);
  static LogLevel decode(const Decoder& decoder);
};

// The lowest level that reaches each sink. A threshold passes every level at
// or above it, so `none` lets everything through, like `debug`.
struct LogLevelConfig {
  LogLevel console = LogLevel::none;
  LogLevel file = LogLevel::none;

  static const LogLevelConfig none;  // (none, none)
  static const LogLevelConfig all;   // (debug, debug)

  friend bool operator==(const LogLevelConfig&, const LogLevelConfig&) = default;
};
inline constexpr LogLevelConfig LogLevelConfig::none{LogLevel::none, LogLevel::none};
inline constexpr LogLevelConfig LogLevelConfig::all{LogLevel::debug, LogLevel::debug};

// Codes as {"console": level, "file": level}; both keys are required.
template <>
struct Coding<LogLevelConfig> {
  static void encode(const LogLevelConfig& config, Encoder& encoder);
  static LogLevelConfig decode(const Decoder& decoder);
};

// Supplies live levels per category, implemented by the application.
// Operations in declared order.
class LogConfig {
 public:
  virtual ~LogConfig() = default;
  virtual LogLevelConfig shared() const = 0;
  virtual LogLevelConfig content() const = 0;
  virtual LogLevelConfig localization() const = 0;
  virtual LogLevelConfig paywall() const = 0;
  virtual LogLevelConfig onboarding() const = 0;
  virtual LogLevelConfig analytics() const = 0;
  virtual LogLevelConfig playback() const = 0;
  virtual LogLevelConfig chromecast() const = 0;
  virtual LogLevelConfig shareplay() const = 0;
  virtual LogLevelConfig ctvActivation() const = 0;
  virtual LogLevelConfig downloads() const = 0;
  virtual LogLevelConfig qoe() const = 0;
};

// The same levels for every category: for apps without per-category
// settings, and for tests.
class UniformLogConfig final : public LogConfig {
 public:
  explicit UniformLogConfig(LogLevelConfig levels) : levels_(levels) {}
  LogLevelConfig shared() const override { return levels_; }
  LogLevelConfig content() const override { return levels_; }
  LogLevelConfig localization() const override { return levels_; }
  LogLevelConfig paywall() const override { return levels_; }
  LogLevelConfig onboarding() const override { return levels_; }
  LogLevelConfig analytics() const override { return levels_; }
  LogLevelConfig playback() const override { return levels_; }
  LogLevelConfig chromecast() const override { return levels_; }
  LogLevelConfig shareplay() const override { return levels_; }
  LogLevelConfig ctvActivation() const override { return levels_; }
  LogLevelConfig downloads() const override { return levels_; }
  LogLevelConfig qoe() const override { return levels_; }

 private:
  LogLevelConfig levels_;
};

}  // namespace zorlan
