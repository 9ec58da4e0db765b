// DataFetcherError: why a data fetch failed. A small stand-in for the fetch
// error of the maker's networking layer, which the library does not ship: it
// models only what error summaries need, namely that one of its cases wraps
// the error of the transport below it.
#pragma once

#include <exception>
#include <optional>
#include <string>

#include "zorlan/Platform/BridgedError.hpp"

namespace zorlan {

// A failed data fetch. Three cases, in this order: `invalidRequest` (no
// payload), `httpStatus` (an HTTP status code outside the accepted range) and
// `underlying` (the transport's own error, wrapped). Its domain is
// "zorlan::DataFetcherError" and its code the case's position in `Kind`. It
// lists no underlying errors of its own: the wrapped error of the `underlying`
// case is read through `underlyingError()`. An immutable value; safe to read
// from any thread.
class DataFetcherError : public std::exception, public BridgedError {
 public:
  enum class Kind { invalidRequest, httpStatus, underlying };

  // The request could not be made.
  static DataFetcherError invalidRequest();
  // The server answered with `status`.
  static DataFetcherError httpStatus(int status);
  // The transport failed with `error`. Precondition: `error` is not null.
  static DataFetcherError underlying(std::exception_ptr error);

  Kind kind() const noexcept { return kind_; }
  // The status of `httpStatus`; absent for the other cases.
  std::optional<int> status() const noexcept { return status_; }
  // The wrapped error of `underlying`; null for the other cases.
  const std::exception_ptr& underlyingError() const noexcept { return underlying_; }

  // "DataFetcherError.invalidRequest", "DataFetcherError.httpStatus(404)" or
  // "DataFetcherError.underlying(<the wrapped error's what()>)".
  const char* what() const noexcept override { return description_.c_str(); }

  std::string errorDomain() const override { return "zorlan::DataFetcherError"; }
  long errorCode() const override { return static_cast<long>(kind_); }

 private:
  DataFetcherError(Kind kind, std::optional<int> status, std::exception_ptr underlying,
                   std::string description);

  Kind kind_;
  std::optional<int> status_;
  std::exception_ptr underlying_;
  std::string description_;
};

}  // namespace zorlan
