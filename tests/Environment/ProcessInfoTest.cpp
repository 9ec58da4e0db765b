// zorlan/Environment/ProcessInfo.hpp: raw values and the switches read from the environment.
#include <gtest/gtest.h>

#include "support/LoggingTestSupport.hpp"
#include "zorlan/Environment/ProcessInfo.hpp"

namespace zorlan {
namespace {

using testing::ScopedEnv;

TEST(ProcessInfoTest, KeysHaveExactlyTheirCaseSensitiveRawValues) {
  // The two keys the switches read are covered by the test below.
  const std::pair<ProcessInfoKeys, const char*> table[] = {
      {ProcessInfoKeys::videoURLOverride, "SimulatorVideoURLOverride"},
      {ProcessInfoKeys::halcyraConfigOverrideURL, "Zorlan:HalcyraConfigOverrideURL"},
      {ProcessInfoKeys::convivaGatewayOverride, "ConvivaGatewayOverride"}};
  for (const auto& [key, raw] : table) {
    EXPECT_EQ(rawValue(key), raw);
    EXPECT_EQ(fromRawValue<ProcessInfoKeys>(raw), key) << raw;
  }
  for (const char* other : {"xcode_running_for_previews", "Zorlan:testConfigurationModel",
                            "SimulatorVideoURLOverride ", ""}) {
    EXPECT_FALSE(fromRawValue<ProcessInfoKeys>(other)) << '"' << other << '"';
  }
}

TEST(ProcessInfoTest, SwitchesFollowTheEnvironmentAtEachCall) {
  {
    ScopedEnv unset("Zorlan:TestConfigurationModel", nullptr);
    EXPECT_FALSE(shouldMockServices());
    EXPECT_FALSE(environmentValue(ProcessInfoKeys::testConfigurationModel));
  }
  {
    ScopedEnv empty("Zorlan:TestConfigurationModel", "");
    EXPECT_TRUE(shouldMockServices());
    EXPECT_EQ(environmentValue(ProcessInfoKeys::testConfigurationModel), "");
  }
  const std::pair<const char*, bool> previews[] = {
      {nullptr, false}, {"1", true}, {"0", false}, {"", false}, {"true", false}, {"11", false}};
  for (const auto& [value, expected] : previews) {
    ScopedEnv set("XCODE_RUNNING_FOR_PREVIEWS", value);
    EXPECT_EQ(isRunningForPreviews(), expected) << (value ? value : "(unset)");
  }
}

}  // namespace
}  // namespace zorlan
