// FileLogger: a self-contained writer of plain text messages into a fresh,
// time-stamped log file in a folder of the user's caches, for components that
// want a log of their own.
//
//   FileLogger logger("Downloads", FileLogger::LogLocation::appSandbox());
//   logger.log("started");          // returns at once; written on its queue
//
// Each logger opens a new `LogFile` named after its creation second in local
// time ("yyyyMMddHHmmss" plus ".log", e.g. 20240131235959.log), bounded at
// 50 MiB, and writes every message as the JSON event
// {"message":"<text>","loggedAt":<seconds since 1970>}, where "loggedAt" is
// read when the event is encoded on the queue, not when `log` is called.
// Old files in the folder are neither counted nor deleted. Two loggers created
// within the same second for the same folder open the same file name, and
// share its one writer (see LogFile.hpp): their events interleave whole.
//
// Nothing here throws: a folder that cannot be created prints
// "Unable to create directory " and the error to standard output, and a file
// that cannot be opened is dropped; the logger then writes nowhere.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zorlan/Platform/Date.hpp"
#include "zorlan/Scheduling/Dispatcher.hpp"

namespace zorlan {

class Logger;

class FileLogger {
 public:
  // Where the log folder lives.
  class LogLocation {
   public:
    // The user's cache directory ($XDG_CACHE_HOME when it is an absolute
    // path, else $HOME/.cache), then the folder name.
    static LogLocation appSandbox() { return LogLocation(std::nullopt); }
    // The shared container registered for the application-group identifier
    // `suiteName` (see `registerSharedDataContainer`), then "Library",
    // "Caches" and the folder name. An identifier with no registered
    // container means no folder: the logger writes nothing, without failing.
    static LogLocation sharedDataContainer(std::string suiteName) {
      return LogLocation(std::move(suiteName));
    }

    bool isAppSandbox() const noexcept { return !suiteName_; }
    // The application-group identifier; absent for `appSandbox`.
    const std::optional<std::string>& suiteName() const noexcept { return suiteName_; }

    friend bool operator==(const LogLocation&, const LogLocation&) = default;

   private:
    explicit LogLocation(std::optional<std::string> suiteName) : suiteName_(std::move(suiteName)) {}
    std::optional<std::string> suiteName_;
  };

  // The source of the current date: used for the file name at construction
  // and for each event's "loggedAt" when it is encoded. Called on the
  // logger's queue too, so it must be thread-safe.
  using DateSource = std::function<Date()>;

  // Resolves the folder for `location`, creates it with its parents, and
  // opens the log file named after `now()` in the device's current time zone
  // (the TZ environment variable, else the system's zone). Never throws.
  FileLogger(const std::string& folderName, const LogLocation& location,
             DateSource now = &Date::now);
  // Queues the message "--- END ---" as the last work of this logger. That
  // work keeps the file open until it has run, so the marker and every
  // message queued before it are written (unless the process ends first).
  ~FileLogger();

  FileLogger(const FileLogger&) = delete;
  FileLogger& operator=(const FileLogger&) = delete;

  // Queues one message and returns at once. Messages are written in the order
  // they are logged. The queued work holds the logger's writer weakly: it
  // never keeps a file open on its own.
  void log(std::string message) const;

  // The log file this logger writes to; absent when there is no folder or the
  // file could not be opened.
  const std::optional<std::filesystem::path>& filePath() const noexcept { return filePath_; }

  // The base logger the log file is attached to (a sink of the host's may be
  // added). Its events arrive on the serial queue.
  Logger& logger() const noexcept;

  // The serial queue on which messages become events: labelled "file.logger",
  // quality of service `utility`, targeting `fileIOQueue()`.
  const AsyncDispatcher& serialQueue() const noexcept { return serialQueue_; }

  // Registers `directory` as the shared data container of the application
  // group `groupIdentifier`, replacing an earlier registration. The host
  // application calls it at start for each group it belongs to. Thread-safe.
  static void registerSharedDataContainer(const std::string& groupIdentifier,
                                          std::filesystem::path directory);
  // Forgets the container of `groupIdentifier` (nothing happens when none).
  static void unregisterSharedDataContainer(const std::string& groupIdentifier);
  // The container registered for `groupIdentifier`, absent when none.
  static std::optional<std::filesystem::path> sharedDataContainer(
      const std::string& groupIdentifier);

 private:
  struct Writer;

  std::shared_ptr<Writer> writer_;
  AsyncDispatcher serialQueue_;
  std::optional<std::filesystem::path> filePath_;
};

}  // namespace zorlan
