#include "LogCommand.hpp"

#include <boost/json/serialize.hpp>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>

#include "ExitCode.hpp"
#include "zorlan/Logging/LogFileReader.hpp"

namespace zf {
namespace {

struct LogOptions {
  std::string path;
  std::string contains;
  std::string since;
  std::string until;
  bool json = false;
};

// Parses a time given as seconds since 1970 or as local "YYYY-MM-DD[ HH:MM[:SS]]"
// (a "T" may stand for the blank).
std::optional<double> parseTime(const std::string& text) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  double seconds = std::strtod(text.c_str(), &end);
  if (end && *end == '\0' && end != text.c_str()) return seconds;
  std::string normalized = text;
  for (char& c : normalized) {
    if (c == 'T') c = ' ';
  }
  for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
    std::tm tm{};
    const char* rest = strptime(normalized.c_str(), format, &tm);
    if (rest && *rest == '\0') {
      tm.tm_isdst = -1;
      std::time_t t = std::mktime(&tm);
      if (t != static_cast<std::time_t>(-1)) return static_cast<double>(t);
    }
  }
  return std::nullopt;
}

std::string formatLocal(double secondsSince1970) {
  double whole = std::floor(secondsSince1970);
  auto t = static_cast<std::time_t>(whole);
  std::tm tm{};
  localtime_r(&t, &tm);
  char buffer[64];
  std::size_t n = std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &tm);
  int millis = static_cast<int>((secondsSince1970 - whole) * 1000.0);
  std::snprintf(buffer + n, sizeof buffer - n, ".%03d", millis);
  return buffer;
}

void runLog(const LogOptions& options) {
  std::ifstream in(options.path, std::ios::binary);
  if (!in) {
    std::cerr << "zf log: cannot open " << options.path << "\n";
    setExitCode(2);
    return;
  }
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::optional<double> since = parseTime(options.since);
  std::optional<double> until = parseTime(options.until);
  if ((!options.since.empty() && !since) || (!options.until.empty() && !until)) {
    std::cerr << "zf log: times are seconds since 1970 or local YYYY-MM-DD HH:MM:SS\n";
    setExitCode(2);
    return;
  }

  zorlan::LogFileContents contents = zorlan::readLogFile(bytes);
  for (const zorlan::LogFileEntry& entry : contents.entries) {
    if (since && (!entry.loggedAt || *entry.loggedAt < *since)) continue;
    if (until && (!entry.loggedAt || *entry.loggedAt > *until)) continue;
    if (!options.contains.empty() && entry.message.find(options.contains) == std::string::npos) {
      continue;
    }
    if (options.json) {
      std::cout << boost::json::serialize(entry.object) << "\n";
    } else {
      std::cout << (entry.loggedAt ? formatLocal(*entry.loggedAt) : std::string("-")) << "  "
                << entry.message << "\n";
    }
  }
  if (contents.truncatedAt) {
    std::cerr << "zf log: the last event is cut off at byte " << *contents.truncatedAt
              << "; it was skipped\n";
  }
  if (contents.error) {
    std::cerr << "zf log: " << options.path
              << " is not a log file past that point: " << *contents.error << "\n";
    setExitCode(1);
  }
}

}  // namespace

void addLogCommand(CLI::App& app) {
  auto options = std::make_shared<LogOptions>();
  CLI::App* log = app.add_subcommand("log", "Print the events of a log file, one per line");
  log->add_option("file", options->path, "The log file")->required();
  log->add_option("-g,--contains", options->contains, "Only events whose message contains TEXT");
  log->add_option("--since", options->since, "Only events at or after this time");
  log->add_option("--until", options->until, "Only events at or before this time");
  log->add_flag("--json", options->json, "Print each event as one line of JSON");
  log->callback([options] { runLog(*options); });
}

}  // namespace zf
