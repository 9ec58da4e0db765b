// LogFileError: why opening or appending to a log file failed.
#pragma once

#include <exception>
#include <string>

#include "zorlan/Platform/BridgedError.hpp"

namespace zorlan {

// Thrown by `LogFile` construction and appends. Its domain is
// "zorlan::LogFileError" and its code the case's position in `Code`.
class LogFileError : public std::exception, public BridgedError {
 public:
  enum class Code { creating, excluding, unknownSize, opening, writing, deleting, full, reading, parsing };

  explicit LogFileError(Code code) noexcept : code_(code) {}

  Code code() const noexcept { return code_; }
  // "LogFileError.<case>", for example "LogFileError.full".
  const char* what() const noexcept override;

  std::string errorDomain() const override { return "zorlan::LogFileError"; }
  long errorCode() const override { return static_cast<long>(code_); }

  friend bool operator==(const LogFileError& a, const LogFileError& b) noexcept {
    return a.code_ == b.code_;
  }

 private:
  Code code_;
};

}  // namespace zorlan
