// AsyncTaskCancelledError: an awaited task was cancelled.
#pragma once

#include <exception>

namespace zorlan {

// Thrown to whoever awaits a task that was cancelled.
// The library never throws it; client code throws and recognises it. It has no
// payload and takes the error queries' defaults for any exception: domain
// "zorlan::AsyncTaskCancelledError", code 1, no underlying errors.
// what() is "AsyncTaskCancelledError".
class AsyncTaskCancelledError : public std::exception {
 public:
  AsyncTaskCancelledError() noexcept = default;
  const char* what() const noexcept override { return "AsyncTaskCancelledError"; }
};

}  // namespace zorlan
