#include "zorlan/Logging/LogFileReader.hpp"

#include <boost/json/parser.hpp>

#include <string>

namespace zorlan {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

LogFileEntry makeEntry(boost::json::object object) {
  LogFileEntry entry;
  if (const auto* message = object.if_contains("message"); message && message->is_string()) {
    entry.message = std::string(message->get_string());
  }
  if (const auto* at = object.if_contains("loggedAt"); at && at->is_number()) {
    entry.loggedAt = at->to_number<double>();
  }
  entry.object = std::move(object);
  return entry;
}

}  // namespace

LogFileContents readLogFile(std::string_view bytes) {
  LogFileContents contents;
  boost::json::parse_options options;
  options.max_depth = 512;
  boost::json::parser parser({}, options);
  std::size_t at = 0;
  bool expectSeparator = false;
  while (true) {
    while (at < bytes.size() && isSpace(bytes[at])) ++at;
    if (at == bytes.size()) break;
    if (expectSeparator) {
      if (bytes[at] != ',') {
        contents.error = "expected \",\" between events at offset " + std::to_string(at);
        break;
      }
      ++at;
      expectSeparator = false;
      continue;
    }
    parser.reset();
    boost::system::error_code ec;
    std::size_t used = parser.write_some(bytes.data() + at, bytes.size() - at, ec);
    if (ec) {
      if (ec == boost::json::error::incomplete || at + used >= bytes.size()) {
        contents.truncatedAt = at;
      } else {
        contents.error = "not JSON at offset " + std::to_string(at) + ": " + ec.message();
      }
      break;
    }
    boost::json::value value = parser.release();
    if (!value.is_object()) {
      contents.error = "an event is not a JSON object at offset " + std::to_string(at);
      break;
    }
    contents.entries.push_back(makeEntry(std::move(value.get_object())));
    at += used;
    expectSeparator = true;
  }
  return contents;
}

}  // namespace zorlan
