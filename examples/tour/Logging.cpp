// Stop of the tour about the logging facade and its log file.
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>

#include "Tour.hpp"
#include "zorlan/Logging/Log.hpp"
#include "zorlan/Logging/LogFileReader.hpp"
#include "zorlan/Rx/Subjects.hpp"

namespace tour {

using namespace zorlan;

namespace {

// The application's live levels: quiet on the console, everything from
// `info` up in the file, and playback chattier than the rest.
struct AppLogConfig : LogConfig {
  LogLevelConfig standard{LogLevel::error, LogLevel::info};
  LogLevelConfig shared() const override { return standard; }
  LogLevelConfig content() const override { return standard; }
  LogLevelConfig localization() const override { return standard; }
  LogLevelConfig paywall() const override { return standard; }
  LogLevelConfig onboarding() const override { return standard; }
  LogLevelConfig analytics() const override { return standard; }
  LogLevelConfig playback() const override { return {LogLevel::error, LogLevel::debug}; }
  LogLevelConfig chromecast() const override { return standard; }
  LogLevelConfig shareplay() const override { return standard; }
  LogLevelConfig ctvActivation() const override { return standard; }
  LogLevelConfig downloads() const override { return standard; }
  LogLevelConfig qoe() const override { return standard; }
};

struct PlayerView {};

std::string localTime(double secondsSince1970) {
  std::time_t seconds = static_cast<std::time_t>(secondsSince1970);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%H:%M:%S", &parts);
  return text;
}

}  // namespace

void logging() {
  heading("Logging to the console and a size-bounded JSON log file");
  namespace fs = std::filesystem;
  const fs::path folder = fs::temp_directory_path() / ("zorlan-tour-log-" + std::to_string(::getpid()));
  fs::create_directories(folder);
  const fs::path file = folder / "app.log";

  static rx::BehaviorRelay<std::shared_ptr<const LogConfig>> levels(
      std::make_shared<AppLogConfig>());
  Log::setup(file, asBehaviorReader(levels));

  PlayerView view;
  Log::playback().debug(view, "buffering 2.5 s ahead");
  Log::playback().warning(view, "stall");
  Log::content().info(view, "catalog rail loaded");
  Log::content().debug(view, "below the file threshold: dropped");
  Log::shared().log(view, LogLevel::info, "a level chosen at run time");
  std::cout << "  (the console threshold is error: only the error line below reaches it)\n";
  std::cout.flush();
  Log::downloads().error(view, "disk full");

  std::cout << "  log file: " << file.string() << "\n";
  std::ifstream in(file, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const LogFileContents contents = readLogFile(bytes);
  std::cout << "  read back " << contents.entries.size() << " events:\n";
  for (const LogFileEntry& entry : contents.entries) {
    std::cout << "    " << (entry.loggedAt ? localTime(*entry.loggedAt) : std::string("--:--:--"))
              << "  " << entry.message << "\n";
  }
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

}  // namespace tour
