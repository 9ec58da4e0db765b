#include "zorlan/Environment/ProcessInfo.hpp"

#include <cstdlib>
#include <string>

namespace zorlan {

std::string_view rawValue(ProcessInfoKeys key) noexcept {
  switch (key) {
    case ProcessInfoKeys::videoURLOverride:
      return "SimulatorVideoURLOverride";
    case ProcessInfoKeys::testConfigurationModel:
      return "Zorlan:TestConfigurationModel";
    case ProcessInfoKeys::halcyraConfigOverrideURL:
      return "Zorlan:HalcyraConfigOverrideURL";
    case ProcessInfoKeys::convivaCustomerIdOverride:
      return "ConvivaCustomerIdOverride";
    case ProcessInfoKeys::convivaGatewayOverride:
      return "ConvivaGatewayOverride";
    case ProcessInfoKeys::runningForPreviews:
      break;
  }
  return "XCODE_RUNNING_FOR_PREVIEWS";
}

template <>
std::optional<ProcessInfoKeys> fromRawValue<ProcessInfoKeys>(std::string_view raw) {
  return findByRawValue(kAllProcessInfoKeys, raw);
}

namespace {

// The variable's value, or null. The names are literals ending in a NUL.
const char* lookUp(ProcessInfoKeys key) noexcept { return std::getenv(rawValue(key).data()); }

}  // namespace

std::optional<std::string> environmentValue(ProcessInfoKeys key) {
  if (const char* value = lookUp(key)) return std::string(value);
  return std::nullopt;
}

bool shouldMockServices() noexcept {
  return lookUp(ProcessInfoKeys::testConfigurationModel) != nullptr;
}

bool isRunningForPreviews() noexcept {
  const char* value = lookUp(ProcessInfoKeys::runningForPreviews);
  return value != nullptr && std::string_view(value) == "1";
}

}  // namespace zorlan
