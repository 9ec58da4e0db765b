// zorlan/Environment/ProcessInfoValue.hpp: raw values and the QA configuration addresses.
#include <gtest/gtest.h>

#include <string>

#include "zorlan/Environment/ProcessInfoValue.hpp"

namespace zorlan {
namespace {

TEST(ProcessInfoValueTest, RawValuesAreExact) {
  EXPECT_EQ(fromRawValue<ProcessInfoValue>("velmorConfigOverrideURL"),
            ProcessInfoValue::velmorConfigOverrideURL);
  EXPECT_EQ(fromRawValue<ProcessInfoValue>("quenConfigOverrideURL"),
            ProcessInfoValue::quenConfigOverrideURL);
  EXPECT_FALSE(fromRawValue<ProcessInfoValue>("VelmorConfigOverrideURL"));
  for (auto url : {PlaybackURL::basicNonDRMAsset, PlaybackURL::containsMultipleAudioSubtitles}) {
    const std::string raw(rawValue(url));
    EXPECT_EQ(fromRawValue<PlaybackURL>(raw), url);
    EXPECT_FALSE(fromRawValue<PlaybackURL>("HTTPS" + raw.substr(5)));
  }
}

TEST(ProcessInfoValueTest, AddressIsBaseThenTokenThenTheUnfilledTemplate) {
  const std::string base(configurationBaseAddress());
  ASSERT_TRUE(base.starts_with("https://") && base.ends_with("/halcyra/sdk-config/"));
  for (auto value :
       {ProcessInfoValue::velmorConfigOverrideURL, ProcessInfoValue::quenConfigOverrideURL}) {
    const std::string& address = configurationAddress(value);
    EXPECT_EQ(address, base + std::string(configurationToken(value)) +
                           std::string(configurationPathTemplate()));
    for (const char* placeholder :
         {"/prod/tesk-sdk/v{configVersion}/", "{clientKey}", "{deviceFamily}", "v{sdkVersion}",
          "{deviceRuntime}", "{deviceProfile}", "{environment}.json"}) {
      EXPECT_NE(address.find(placeholder), std::string::npos) << placeholder;
    }
  }
}

}  // namespace
}  // namespace zorlan
