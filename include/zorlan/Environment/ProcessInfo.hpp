// ProcessInfo: the launch-environment variables the applications read, and the
// switches derived from them. Every answer reads the process environment at
// the time of the call (getenv), so a variable set or removed later is seen.
//
//   if (zorlan::shouldMockServices()) useMockedServices();
//   if (auto url = zorlan::environmentValue(zorlan::ProcessInfoKeys::videoURLOverride)) ...
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zorlan/Platform/RawValue.hpp"

namespace zorlan {

// The launch-environment variable names, in this order, with their raw values:
//   videoURLOverride           "SimulatorVideoURLOverride"
//   testConfigurationModel     "Zorlan:TestConfigurationModel"
//   halcyraConfigOverrideURL   "Zorlan:HalcyraConfigOverrideURL"
//   convivaCustomerIdOverride  "ConvivaCustomerIdOverride"  (video analytics customer id)
//   convivaGatewayOverride     "ConvivaGatewayOverride"     (video analytics gateway)
//   runningForPreviews         "XCODE_RUNNING_FOR_PREVIEWS"
enum class ProcessInfoKeys {
  videoURLOverride,
  testConfigurationModel,
  halcyraConfigOverrideURL,
  convivaCustomerIdOverride,
  convivaGatewayOverride,
  runningForPreviews,
};

// Every key, in declaration order.
inline constexpr ProcessInfoKeys kAllProcessInfoKeys[] = {
    ProcessInfoKeys::videoURLOverride,         ProcessInfoKeys::testConfigurationModel,
    ProcessInfoKeys::halcyraConfigOverrideURL, ProcessInfoKeys::convivaCustomerIdOverride,
    ProcessInfoKeys::convivaGatewayOverride,   ProcessInfoKeys::runningForPreviews,
};

// The variable name of `key`.
std::string_view rawValue(ProcessInfoKeys key) noexcept;
// The key with exactly that variable name (case-sensitive); absent otherwise.
template <>
std::optional<ProcessInfoKeys> fromRawValue<ProcessInfoKeys>(std::string_view raw);

// The value of `key`'s variable in the process environment; absent when the
// variable is not set (an empty value is present and empty).
std::optional<std::string> environmentValue(ProcessInfoKeys key);

// True exactly when "Zorlan:TestConfigurationModel" is set, whatever its value
// (the empty string included): test launches set it to mock services.
bool shouldMockServices() noexcept;

// True when "XCODE_RUNNING_FOR_PREVIEWS" is set to exactly "1", the value the
// design-time preview runner sets; any other value (or none) means false.
bool isRunningForPreviews() noexcept;

}  // namespace zorlan
