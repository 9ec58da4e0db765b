#include "zorlan/Values/Safe.hpp"

#include <cxxabi.h>

#include <string>

#include "Values/TypeName.hpp"
#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Logging/Log.hpp"

namespace zorlan::detail {
namespace {

// The sender named in the report's events.
struct SafeDecoding {};

constexpr const char* kFile = "Wrappers/Safe";
constexpr const char* kFunction = "init(from:)";
constexpr int kDecodingErrorLine = 28;
constexpr int kOtherErrorLine = 36;

constexpr std::string_view kDecodingErrorPrefix =
    "\U0001F92E\U0001F92E\U0001F92E server data is unexpected or corrupt, failed to decode "
    "element.\nError: ";
constexpr std::string_view kOtherErrorPrefix =
    "\U0001F92E\U0001F92E\U0001F92E server data is unexpected or corrupt, failed to decode "
    "element. Error: ";

// What an exception says about itself: what() for a std::exception, else the
// name of the thrown value's type.
std::string describe(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    const std::type_info* type = abi::__cxa_current_exception_type();
    return type ? qualifiedTypeName(*type) : std::string("unknown exception");
  }
}

}  // namespace

void reportUndecodableElement(const DecodingError& error) noexcept {
  try {
    std::string message(kDecodingErrorPrefix);
    message += error.description();
    message += ", key: ";
    message += codingPathString(error.context().codingPath);
    Log::shared().error(SafeDecoding{}, message,
                        SourceLocation(kFile, kDecodingErrorLine, kFunction));
  } catch (...) {
    // Out of memory while reporting: the value stays absent, unreported.
  }
}

void reportUndecodableElement(const std::exception_ptr& error) noexcept {
  if (!error) return;
  try {
    Log::shared().error(SafeDecoding{}, std::string(kOtherErrorPrefix) + describe(error),
                        SourceLocation(kFile, kOtherErrorLine, kFunction));
  } catch (...) {
    // Out of memory while reporting: the value stays absent, unreported.
  }
}

}  // namespace zorlan::detail
