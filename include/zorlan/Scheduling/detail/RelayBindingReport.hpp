// The error line that relay bindings write when an error or a completion
// reaches a relay, declared without the logger's header.
#pragma once

#include <exception>
#include <string_view>

namespace zorlan::detail {

// Writes "<relayName> binding received error: <description> but will ignore."
// (or "... received completion but will ignore." when `error` is null) at the
// error level of the shared base logger. Never throws.
void reportRelayBindingEvent(std::string_view relayName, std::exception_ptr error) noexcept;

}  // namespace zorlan::detail
