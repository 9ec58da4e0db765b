// HTTPStatus: an HTTP response status that the IANA HTTP Status Code Registry
// lists, with its reason phrase.
//
//   if (auto status = zorlan::HTTPStatus::fromRawValue(404)) {
//     std::cout << status->rawValue() << ' ' << status->reasonPhrase();  // 404 Not Found
//   }
#pragma once

#include <optional>
#include <string_view>

namespace zorlan {

// A registered status code. The known codes are 100-103, 200-208, 226,
// 300-308, 400-418, 421-426, 428, 429, 431, 451, 500-508, 510 and 511
// (306 and 418 are registered as unused and kept, their phrase "(Unused)").
// An immutable value; the table is constant, so every call is thread-safe.
class HTTPStatus {
 public:
  // The status with that code; absent for a code the registry does not list.
  static std::optional<HTTPStatus> fromRawValue(int code) noexcept;
  // Whether the registry lists `code`. Constant time.
  static bool isKnown(int code) noexcept;

  int rawValue() const noexcept { return code_; }
  // The registry's reason phrase, such as "Not Found".
  std::string_view reasonPhrase() const noexcept;

  friend bool operator==(HTTPStatus, HTTPStatus) = default;

 private:
  explicit HTTPStatus(int code) noexcept : code_(code) {}
  int code_;
};

}  // namespace zorlan
