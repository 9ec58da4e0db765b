#include "zorlan/Environment/ProcessInfoValue.hpp"

#include <string>

#include "Environment/DeploymentValues.hpp"

namespace zorlan {

namespace {

constexpr std::string_view kPathTemplate =
    "/prod/tesk-sdk/v{configVersion}/{clientKey}/{deviceFamily}/v{sdkVersion}/{deviceRuntime}/"
    "{deviceProfile}/{environment}.json";

std::string makeAddress(ProcessInfoValue value) {
  std::string address(configurationBaseAddress());
  address += configurationToken(value);
  address += kPathTemplate;
  return address;
}

}  // namespace

std::string_view rawValue(ProcessInfoValue value) noexcept {
  return value == ProcessInfoValue::velmorConfigOverrideURL ? "velmorConfigOverrideURL"
                                                            : "quenConfigOverrideURL";
}

template <>
std::optional<ProcessInfoValue> fromRawValue<ProcessInfoValue>(std::string_view raw) {
  return findByRawValue(
      {ProcessInfoValue::velmorConfigOverrideURL, ProcessInfoValue::quenConfigOverrideURL}, raw);
}

const std::string& configurationAddress(ProcessInfoValue value) {
  static const std::string velmor = makeAddress(ProcessInfoValue::velmorConfigOverrideURL);
  static const std::string quen = makeAddress(ProcessInfoValue::quenConfigOverrideURL);
  return value == ProcessInfoValue::velmorConfigOverrideURL ? velmor : quen;
}

std::string_view configurationToken(ProcessInfoValue value) noexcept {
  return value == ProcessInfoValue::velmorConfigOverrideURL ? detail::deployment::velmorQAToken()
                                                            : detail::deployment::quenQAToken();
}

std::string_view configurationBaseAddress() noexcept {
  return detail::deployment::configurationBaseAddress();
}

std::string_view configurationPathTemplate() noexcept { return kPathTemplate; }

std::string_view rawValue(PlaybackURL url) noexcept {
  return url == PlaybackURL::basicNonDRMAsset
             ? detail::deployment::basicNonDRMPlaylist()
             : detail::deployment::multipleAudioSubtitlesPlaylist();
}

template <>
std::optional<PlaybackURL> fromRawValue<PlaybackURL>(std::string_view raw) {
  return findByRawValue(
      {PlaybackURL::basicNonDRMAsset, PlaybackURL::containsMultipleAudioSubtitles}, raw);
}

}  // namespace zorlan
