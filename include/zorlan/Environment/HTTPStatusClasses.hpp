// HTTPStatusClasses: the registered HTTP status codes of each class, in
// ascending order.
//
//   const auto& ok = zorlan::HTTPStatusClasses::successCodes();   // 200, 201, ... 226
//   auto server = zorlan::HTTPStatusClasses::serverErrorCodes();  // a snapshot
//   bool retry = std::ranges::find(*server, code) != server->end();
#pragma once

#include <memory>
#include <vector>

namespace zorlan {

// Each list is built once, on first use, by walking its range (100-199,
// 200-299, 300-399, 400-499, 500-599) in ascending order and keeping the codes
// that `HTTPStatus` knows (zorlan/Platform/HTTPStatus.hpp).
struct HTTPStatusClasses {
  // Fixed lists; the references stay valid for the life of the process and
  // may be read from any thread.
  static const std::vector<int>& informationCodes();
  static const std::vector<int>& successCodes();
  static const std::vector<int>& redirectCodes();
  static const std::vector<int>& clientErrorCodes();

  // The server-error codes: the registered 5xx codes until a client replaces
  // the list (say, to treat a code of its own as a server error). Readers get
  // a snapshot they share, never a list being changed: the list is a
  // shared pointer to an immutable vector, copied out (or swapped in) under a
  // mutex held only for that copy, so any thread may read or replace it at any
  // time, and every read after a replacement returns the replacement.
  static std::shared_ptr<const std::vector<int>> serverErrorCodes();
  // Replaces the list for every later reader; snapshots already handed out
  // keep the list they had.
  static void setServerErrorCodes(std::vector<int> codes);
};

}  // namespace zorlan
