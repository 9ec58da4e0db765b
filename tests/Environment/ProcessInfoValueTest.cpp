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
    EXPECT_TRUE(raw.starts_with("https://")) << raw;
    EXPECT_EQ(fromRawValue<PlaybackURL>(raw), url);
    EXPECT_FALSE(fromRawValue<PlaybackURL>(raw + "/"));
    EXPECT_FALSE(fromRawValue<PlaybackURL>("HTTPS" + raw.substr(5)));
  }
}

TEST(ProcessInfoValueTest, AddressIsBaseThenTokenThenTheUnfilledTemplate) {
  const std::pair<ProcessInfoValue, std::size_t> tokenLengths[] = {
      {ProcessInfoValue::velmorConfigOverrideURL, 200},
      {ProcessInfoValue::quenConfigOverrideURL, 192}};
  const std::string base(configurationBaseAddress());
  ASSERT_TRUE(base.starts_with("https://") && base.ends_with("/halcyra/sdk-config/"));
  for (const auto& [value, length] : tokenLengths) {
    const std::string token(configurationToken(value));
    EXPECT_EQ(token.size(), length);
    EXPECT_EQ(token.find_first_not_of(
                  "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="),
              std::string::npos);
    const std::string& address = configurationAddress(value);
    EXPECT_EQ(address, base + token + std::string(configurationPathTemplate()));
    EXPECT_TRUE(address.ends_with("{environment}.json"));
    for (const char* placeholder :
         {"/prod/tesk-sdk/v{configVersion}/", "{clientKey}", "{deviceFamily}", "v{sdkVersion}",
          "{deviceRuntime}", "{deviceProfile}"}) {
      EXPECT_NE(address.find(placeholder), std::string::npos) << placeholder;
    }
  }
}

}  // namespace
}  // namespace zorlan
