// Log: the logging facade. A `Log` is a category: an optional prefix and a
// live level configuration. Twelve categories exist process-wide; after
// `setup` they write to the console and, optionally, to a log file.
//
//   Log::playback().warning(this, "stall");   // the caller's file, line, function
//
// Writing one message: read the category's thresholds; the console logger is
// a target when its threshold is at or below the level, then the file logger
// likewise (console first); with no target nothing is composed. The line is
// the prefix (if any), the level's mark (if any) and the message joined by
// single spaces. A threshold of `none` lets every level through.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>

#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Logging/LogLevel.hpp"
#include "zorlan/Platform/Logger.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"

namespace zorlan {

class Log {
 public:
  Log(std::optional<std::string> prefix, BehaviorReader<LogLevelConfig> config)
      : prefix_(std::move(prefix)), config_(std::move(config)) {}

  // The twelve categories. Each is a process-wide value that `setup`
  // replaces; before `setup` all hold the shared default (no prefix, levels
  // (none, none)) and nothing is written anywhere. Reading from several
  // threads is safe; assign (or `setup`) once at start, before others log.
  static Log& shared();
  static Log& content();
  static Log& localization();
  static Log& analytics();
  static Log& onboarding();
  static Log& paywall();
  static Log& playback();
  static Log& chromecast();
  static Log& shareplay();
  static Log& ctvActivation();
  static Log& downloads();
  static Log& qoe();

  // Creates the console logger and, when `fileLocation` is given and the file
  // opens (50 MiB bound), the file logger, replacing earlier ones (a file
  // that fails to open keeps the earlier file logger); then rebinds every
  // category to `config`, so later changes reach all of them at once.
  // Replacing the loggers is safe while other threads log, but the rebinding
  // rewrites the category objects in place: call `setup` at launch, before
  // other threads log through the categories (live changes go through
  // `config`, which any thread may change at any time).
  static void setup(const std::optional<std::filesystem::path>& fileLocation,
                    const BehaviorReader<std::shared_ptr<const LogConfig>>& config);

  // The process-wide loggers `setup` made: null before `setup`, and the
  // file logger also when no file could be opened. Hosts may add sinks of
  // their own (a crash reporter's breadcrumbs, say). A logger replaced by a
  // later `setup` (with its log file) is released once no message being
  // written and no holder of the returned pointer still uses it.
  static std::shared_ptr<Logger> consoleLogger() noexcept;
  static std::shared_ptr<Logger> fileLogger() noexcept;

  template <class Sender>
  void debug(const Sender& sender, std::string_view message,
             SourceLocation where = SourceLocation::current()) const {
    write(LogLevel::debug, sender, message, where);
  }
  template <class Sender>
  void info(const Sender& sender, std::string_view message,
            SourceLocation where = SourceLocation::current()) const {
    write(LogLevel::info, sender, message, where);
  }
  template <class Sender>
  void warning(const Sender& sender, std::string_view message,
               SourceLocation where = SourceLocation::current()) const {
    write(LogLevel::warning, sender, message, where);
  }
  template <class Sender>
  void error(const Sender& sender, std::string_view message,
             SourceLocation where = SourceLocation::current()) const {
    write(LogLevel::error, sender, message, where);
  }
  // Logs at a level chosen at run time. `none` and `trace` write nothing.
  // The sinks receive this facade's own location ("Logging/Log", the function
  // "log(_:level:message:line:file:function:)" and a line per level), not
  // the caller's.
  template <class Sender>
  void log(const Sender& sender, LogLevel level, std::string_view message) const {
    if (level == LogLevel::none || level == LogLevel::trace) return;
    write(level, sender, message, fixedLocation(level));
  }

  const std::optional<std::string>& prefix() const noexcept { return prefix_; }
  const BehaviorReader<LogLevelConfig>& config() const noexcept { return config_; }

 private:
  template <class Sender>
  void write(LogLevel level, const Sender& /*sender*/, std::string_view message,
             const SourceLocation& where) const {
    const LogLevelConfig thresholds = config_.value();
    if (!anyTarget(thresholds, level)) return;  // the common, allocation-free path
    using Plain = std::remove_cv_t<std::remove_pointer_t<std::decay_t<Sender>>>;
    static const std::string& senderName = senderTypeName(typeid(Plain).name());
    writeComposed(level, senderName, message, where);
  }
  // The unqualified, demangled name, made once per type and kept.
  static const std::string& senderTypeName(const char* mangled);
  static bool anyTarget(LogLevelConfig thresholds, LogLevel level) noexcept;
  void writeComposed(LogLevel level, std::string_view sender, std::string_view message,
                     const SourceLocation& where) const;
  static SourceLocation fixedLocation(LogLevel level) noexcept;

  std::optional<std::string> prefix_;
  BehaviorReader<LogLevelConfig> config_;
};

}  // namespace zorlan
