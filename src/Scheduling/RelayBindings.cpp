#include "zorlan/Scheduling/RelayBindings.hpp"

#include <string>

namespace zorlan::detail {
namespace {

std::string describe(std::exception_ptr error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "unknown error";
  }
}

}  // namespace

void reportRelayBindingEvent(std::string_view relayName, std::exception_ptr error) noexcept {
  try {
    std::string message(relayName);
    if (error) {
      message += " binding received error: " + describe(error) + " but will ignore.";
    } else {
      message += " binding received completion but will ignore.";
    }
    Logger::shared().log(relayName, LoggerLevel::error, "", message, true, {}, __LINE__,
                         "Scheduling/RelayBindings", "asObserver()");
  } catch (...) {
    // Out of memory while building the line: the event is ignored all the same.
  }
}

void logLifecycle(Logger& logger, std::string_view sender, const std::string& message,
                  std::string_view suffix, const SourceLocation& where) {
  logger.log(sender, LoggerLevel::info, "", message + " -> " + std::string(suffix), true, {},
             where.line(), where.file_name(), where.function_name());
}

}  // namespace zorlan::detail
