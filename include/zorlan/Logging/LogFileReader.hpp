// LogFileReader: reads back the events of a log file written by `LogFile`.
#pragma once

#include <boost/json/object.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zorlan {

// One event read from a log file.
struct LogFileEntry {
  // The event as written: a JSON object.
  boost::json::object object;
  // Its "message" member, empty when absent or not a string.
  std::string message;
  // Its "loggedAt" member (seconds since 1970), absent when missing or not a number.
  std::optional<double> loggedAt;
};

// The result of reading a log file's bytes.
struct LogFileContents {
  std::vector<LogFileEntry> entries;
  // Set when the bytes end inside an event (a write was cut off): the offset
  // where the unreadable tail starts. Every complete event before it is kept.
  std::optional<std::size_t> truncatedAt;
  // Set when the bytes hold something that is not a log file (text that is not
  // a JSON object, or a bad separator): a description of the first problem.
  // Reading stops there; the entries before it are kept.
  std::optional<std::string> error;
};

// Splits the contents of a log file (JSON objects separated by "," and a line
// feed, without brackets) into its events. Never throws for malformed bytes;
// see `LogFileContents`. Linear in the size of the input.
LogFileContents readLogFile(std::string_view bytes);

}  // namespace zorlan
