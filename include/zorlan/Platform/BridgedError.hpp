// BridgedError: the domain, code and underlying errors of a library error, as
// error summaries in logs and analytics read them.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace zorlan {

// Implemented by the library's exception types (next to std::exception) so
// that any error reduces to a domain string, an integer code and a list of
// underlying errors. Exceptions that do not implement it get defaults
// documented with the error queries.
class BridgedError {
 public:
  virtual ~BridgedError() = default;

  // The error domain, for example "NSCocoaErrorDomain" or "NSURLErrorDomain".
  virtual std::string errorDomain() const = 0;
  // The integer code within the domain.
  virtual long errorCode() const = 0;
  // Errors this one wraps, outermost first; one level only. Empty by default.
  virtual std::vector<std::exception_ptr> underlyingErrors() const { return {}; }

  // The domain and code as a std::error_code, for callers that branch on
  // error codes: the code in `errorDomainCategory(errorDomain())` (a code
  // outside the range of int is clamped to it). Errors of one domain and
  // code compare equal whatever their exception type.
  std::error_code toErrorCode() const;
};

// The error category of an error domain: one category object per domain
// string, made on first use and kept for the life of the process, so that
// categories compare equal exactly when their domains do. Its name() is the
// domain; message(code) is "<domain> error <code>". Thread-safe.
const std::error_category& errorDomainCategory(std::string_view domain);

}  // namespace zorlan
