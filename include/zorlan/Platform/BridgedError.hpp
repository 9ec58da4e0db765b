// BridgedError: the domain, code and underlying errors of a library error, as
// error summaries in logs and analytics read them.
#pragma once

#include <exception>
#include <string>
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
};

}  // namespace zorlan
