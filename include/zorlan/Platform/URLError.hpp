// URLError: a failed URL load, in the "NSURLErrorDomain" error domain with the
// well-known URL-loading codes.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "zorlan/Platform/BridgedError.hpp"

namespace zorlan {

// An error of URL loading. Its domain is "NSURLErrorDomain" and its code the
// value of `Code`; any other integer may be carried too (cast it to `Code`).
// It may wrap underlying errors (for example the socket error behind a lost
// connection). An immutable value; safe to read from any thread.
class URLError : public std::exception, public BridgedError {
 public:
  // The well-known URL-loading error codes.
  enum class Code : long {
    unknown = -1,
    backgroundSessionWasDisconnected = -997,
    backgroundSessionInUseByAnotherProcess = -996,
    backgroundSessionRequiresSharedContainer = -995,
    cancelled = -999,
    badURL = -1000,
    timedOut = -1001,
    unsupportedURL = -1002,
    cannotFindHost = -1003,
    cannotConnectToHost = -1004,
    networkConnectionLost = -1005,
    dnsLookupFailed = -1006,
    httpTooManyRedirects = -1007,
    resourceUnavailable = -1008,
    notConnectedToInternet = -1009,
    redirectToNonExistentLocation = -1010,
    badServerResponse = -1011,
    userCancelledAuthentication = -1012,
    userAuthenticationRequired = -1013,
    zeroByteResource = -1014,
    cannotDecodeRawData = -1015,
    cannotDecodeContentData = -1016,
    cannotParseResponse = -1017,
    internationalRoamingOff = -1018,
    callIsActive = -1019,
    dataNotAllowed = -1020,
    requestBodyStreamExhausted = -1021,
    appTransportSecurityRequiresSecureConnection = -1022,
    fileDoesNotExist = -1100,
    fileIsDirectory = -1101,
    noPermissionsToReadFile = -1102,
    dataLengthExceedsMaximum = -1103,
    fileOutsideSafeArea = -1104,
    secureConnectionFailed = -1200,
    serverCertificateHasBadDate = -1201,
    serverCertificateUntrusted = -1202,
    serverCertificateHasUnknownRoot = -1203,
    serverCertificateNotYetValid = -1204,
    clientCertificateRejected = -1205,
    clientCertificateRequired = -1206,
    cannotLoadFromNetwork = -2000,
    cannotCreateFile = -3000,
    cannotOpenFile = -3001,
    cannotCloseFile = -3002,
    cannotWriteToFile = -3003,
    cannotRemoveFile = -3004,
    cannotMoveFile = -3005,
    downloadDecodingFailedMidStream = -3006,
    downloadDecodingFailedToComplete = -3007,
  };

  // The error domain of every URLError.
  static constexpr const char* kDomain = "NSURLErrorDomain";

  // An error with `code` and, optionally, the errors it wraps (outermost
  // first). Null pointers in `underlying` are dropped.
  explicit URLError(Code code, std::vector<std::exception_ptr> underlying = {});

  Code code() const noexcept { return code_; }

  // "The operation couldn't be completed. (NSURLErrorDomain error -1009.)".
  const char* what() const noexcept override { return description_.c_str(); }

  // "NSURLErrorDomain".
  std::string errorDomain() const override { return kDomain; }
  // The code's integer value.
  long errorCode() const override { return static_cast<long>(code_); }
  // The wrapped errors given at construction.
  std::vector<std::exception_ptr> underlyingErrors() const override { return underlying_; }

  // Same code and the same underlying error objects.
  friend bool operator==(const URLError& a, const URLError& b) noexcept {
    return a.code_ == b.code_ && a.underlying_ == b.underlying_;
  }

 private:
  Code code_;
  std::vector<std::exception_ptr> underlying_;
  std::string description_;
};

}  // namespace zorlan
