// Error queries: reduce any error to the domain, code and underlying codes
// that logs and analytics use, and to one-line summaries of it.
//
// Any exception can be asked, by reference or through a std::exception_ptr.
// Where the numbers come from:
// - an error implementing `BridgedError` (the library's own error types,
//   `URLError`, `DecodingError`, ...) gives its `errorDomain()`, `errorCode()`
//   and `underlyingErrors()`;
// - otherwise a std::system_error (and so std::filesystem::filesystem_error and
//   std::ios_base::failure) or a std::future_error gives its error code's
//   category name as domain and the code's value as code;
// - any other exception takes the defaults: the namespace-qualified type name
//   as domain (for example "std::runtime_error" or "zorlan::NoSelfError"),
//   code 1 and no underlying errors;
// - a std::exception_ptr holding a value that is not a std::exception (say
//   `throw 42`) is treated like any other exception of that value's type:
//   domain "int", code 1, type name "int";
// - an exception thrown with std::throw_with_nested also lists the nested
//   exception as an underlying error (after any it bridges itself), and is
//   named after the thrown type, not the standard library's wrapper.
// Passing a null std::exception_ptr is a precondition violation: there is no
// error to ask about.
//
// All functions are thread-safe as long as the error is not mutated; they
// throw only what allocation or the error's own `BridgedError` members throw.
#pragma once

#include <exception>
#include <string>
#include <vector>

namespace zorlan {

// The error's integer code, as described above.
long code(const std::exception& error);
long code(const std::exception_ptr& error);

// The error's domain string, as described above.
std::string domain(const std::exception& error);
std::string domain(const std::exception_ptr& error);

// The `code` of each of the error's underlying errors, in list order. One level
// only: the underlying errors' own underlying errors are not visited. Empty
// when there are none.
std::vector<long> underlyingErrorCodes(const std::exception& error);
std::vector<long> underlyingErrorCodes(const std::exception_ptr& error);

// A one-line summary for logs and analytics, parts joined by " - ":
// - a `DataFetcherError` wrapping another error (its `underlying` case):
//   "<outer type> - <wrapped type> - <wrapped code> - <wrapped underlying codes>",
//   for example "DataFetcherError - URLError - -1009 - [-1001, 2]";
// - any other error: "<type> - <code> - <underlying codes>", for example
//   "URLError - -1009 - []".
// A type is named by its dynamic type, demangled and without namespaces
// (template arguments keep their own names, also without namespaces). The
// codes list is "[]" when empty, else the decimal codes in square brackets
// separated by ", ".
std::string errorTypeString(const std::exception& error);
std::string errorTypeString(const std::exception_ptr& error);

// A symbolic name for well-known URL-loading failures. In the
// "NSURLErrorDomain" domain the codes -1000, -1001, -1003, -1004, -1017,
// -1018, -1019, -1020 and -1200 give "NSURLErrorBadURL",
// "NSURLErrorTimedOut", "NSURLErrorCannotFindHost",
// "NSURLErrorCannotConnectToHost", "NSURLErrorCannotParseResponse",
// "NSURLErrorInternationalRoamingOff", "NSURLErrorCallIsActive",
// "NSURLErrorDataNotAllowed" and "NSURLErrorSecureConnectionFailed". Every
// other code, and every code of another domain, gives the code in decimal
// ("-1009", "-1001").
std::string urlErrorCodeName(const std::exception& error);
std::string urlErrorCodeName(const std::exception_ptr& error);

}  // namespace zorlan
