// Contract checks that stop the process: ZORLAN_PRECONDITION and ZORLAN_FATAL.
#pragma once

#include <string_view>

#include "zorlan/Base/SourceLocation.hpp"

namespace zorlan::detail {

// Prints "<kind>: <message>" and the source location to standard error, then
// aborts. Never returns.
[[noreturn]] void stopProcess(std::string_view kind, std::string_view message,
                              ::zorlan::SourceLocation where) noexcept;

}  // namespace zorlan::detail

// Stops the process with `message` when `condition` is false. Always checked,
// in every build type: a violated precondition is a programming error that
// must not go on silently.
#define ZORLAN_PRECONDITION(condition, message)                           \
  do {                                                                    \
    if (!(condition)) [[unlikely]] {                                      \
      ::zorlan::detail::stopProcess("Precondition failed", (message),     \
                                    ::zorlan::SourceLocation::current()); \
    }                                                                     \
  } while (false)

// Stops the process with `message`: an unreachable path was reached.
#define ZORLAN_FATAL(message) \
  ::zorlan::detail::stopProcess("Fatal error", (message), ::zorlan::SourceLocation::current())
