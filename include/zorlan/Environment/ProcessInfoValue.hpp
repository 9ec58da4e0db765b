// ProcessInfoValue: values a test launch places in the environment. Each brand
// has a QA configuration address; two fixed test streams serve the player's
// automated tests.
//
//   const std::string& address =
//       zorlan::configurationAddress(zorlan::ProcessInfoValue::velmorConfigOverrideURL);
//   // <base>/halcyra/sdk-config/<token>/prod/tesk-sdk/v{configVersion}/.../{environment}.json
//
// The configuration host, the tokens and the stream addresses are deployment
// values, set when the library is configured (cmake/ZorlanDeployment.cmake).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zorlan/Platform/RawValue.hpp"

namespace zorlan {

// The brands' configuration overrides, in this order, with their raw values:
//   velmorConfigOverrideURL  "velmorConfigOverrideURL"
//   quenConfigOverrideURL    "quenConfigOverrideURL"
enum class ProcessInfoValue { velmorConfigOverrideURL, quenConfigOverrideURL };

std::string_view rawValue(ProcessInfoValue value) noexcept;
// The value with exactly that raw value (case-sensitive); absent otherwise.
template <>
std::optional<ProcessInfoValue> fromRawValue<ProcessInfoValue>(std::string_view raw);

// The value's `string`: the brand's full QA configuration address, the
// concatenation of
//   1. the configuration service's sdk-config base address (HTTPS, ending in
//      "/halcyra/sdk-config/"),
//   2. the brand's QA token (padded base64; 200 characters for velmor, 192 for
//      quen), unchanged,
//   3. `configurationPathTemplate()`, its placeholders left for the
//      configuration loader to fill.
// Made once per value; thread-safe.
const std::string& configurationAddress(ProcessInfoValue value);

// The brand's QA configuration token.
std::string_view configurationToken(ProcessInfoValue value) noexcept;
// The configuration service's sdk-config base address.
std::string_view configurationBaseAddress() noexcept;
// "/prod/tesk-sdk/v{configVersion}/{clientKey}/{deviceFamily}/v{sdkVersion}/
// {deviceRuntime}/{deviceProfile}/{environment}.json" (one line).
std::string_view configurationPathTemplate() noexcept;

// The player's fixed test streams, in this order:
//   basicNonDRMAsset                unencrypted HLS master playlist, SDR video, AAC audio
//   containsMultipleAudioSubtitles  unencrypted HLS master playlist with several audio
//                                   and WebVTT subtitle languages
enum class PlaybackURL { basicNonDRMAsset, containsMultipleAudioSubtitles };

// The stream's full HTTPS playlist address.
std::string_view rawValue(PlaybackURL url) noexcept;
// The stream with exactly that address; absent for any other text.
template <>
std::optional<PlaybackURL> fromRawValue<PlaybackURL>(std::string_view raw);

}  // namespace zorlan
