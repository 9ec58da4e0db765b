#include "zorlan/Platform/HTTPStatus.hpp"

#include <array>

namespace zorlan {
namespace {

constexpr int kFirstCode = 100;
constexpr int kLastCode = 599;

// The registry's reason phrases by code; an empty phrase marks an unlisted code.
constexpr std::array<std::string_view, kLastCode - kFirstCode + 1> makeTable() {
  std::array<std::string_view, kLastCode - kFirstCode + 1> t{};
  auto set = [&t](int code, std::string_view phrase) { t[code - kFirstCode] = phrase; };
  set(100, "Continue");
  set(101, "Switching Protocols");
  set(102, "Processing");
  set(103, "Early Hints");
  set(200, "OK");
  set(201, "Created");
  set(202, "Accepted");
  set(203, "Non-Authoritative Information");
  set(204, "No Content");
  set(205, "Reset Content");
  set(206, "Partial Content");
  set(207, "Multi-Status");
  set(208, "Already Reported");
  set(226, "IM Used");
  set(300, "Multiple Choices");
  set(301, "Moved Permanently");
  set(302, "Found");
  set(303, "See Other");
  set(304, "Not Modified");
  set(305, "Use Proxy");
  set(306, "(Unused)");
  set(307, "Temporary Redirect");
  set(308, "Permanent Redirect");
  set(400, "Bad Request");
  set(401, "Unauthorized");
  set(402, "Payment Required");
  set(403, "Forbidden");
  set(404, "Not Found");
  set(405, "Method Not Allowed");
  set(406, "Not Acceptable");
  set(407, "Proxy Authentication Required");
  set(408, "Request Timeout");
  set(409, "Conflict");
  set(410, "Gone");
  set(411, "Length Required");
  set(412, "Precondition Failed");
  set(413, "Content Too Large");
  set(414, "URI Too Long");
  set(415, "Unsupported Media Type");
  set(416, "Range Not Satisfiable");
  set(417, "Expectation Failed");
  set(418, "(Unused)");
  set(421, "Misdirected Request");
  set(422, "Unprocessable Content");
  set(423, "Locked");
  set(424, "Failed Dependency");
  set(425, "Too Early");
  set(426, "Upgrade Required");
  set(428, "Precondition Required");
  set(429, "Too Many Requests");
  set(431, "Request Header Fields Too Large");
  set(451, "Unavailable For Legal Reasons");
  set(500, "Internal Server Error");
  set(501, "Not Implemented");
  set(502, "Bad Gateway");
  set(503, "Service Unavailable");
  set(504, "Gateway Timeout");
  set(505, "HTTP Version Not Supported");
  set(506, "Variant Also Negotiates");
  set(507, "Insufficient Storage");
  set(508, "Loop Detected");
  set(510, "Not Extended");
  set(511, "Network Authentication Required");
  return t;
}

constexpr auto kPhrases = makeTable();

}  // namespace

bool HTTPStatus::isKnown(int code) noexcept {
  return code >= kFirstCode && code <= kLastCode && !kPhrases[code - kFirstCode].empty();
}

std::optional<HTTPStatus> HTTPStatus::fromRawValue(int code) noexcept {
  if (!isKnown(code)) return std::nullopt;
  return HTTPStatus(code);
}

std::string_view HTTPStatus::reasonPhrase() const noexcept { return kPhrases[code_ - kFirstCode]; }

}  // namespace zorlan
