// The deployment values the build compiles in (cmake/ZorlanDeployment.cmake
// checks their forms and generates their definitions).
#pragma once

#include <string_view>

namespace zorlan::detail::deployment {

// HTTPS, ending in "/halcyra/sdk-config/".
std::string_view configurationBaseAddress() noexcept;
// Padded base64: 200 characters for velmor, 192 for quen.
std::string_view velmorQAToken() noexcept;
std::string_view quenQAToken() noexcept;
// HTTPS addresses of the two test-stream master playlists, different from each other.
std::string_view basicNonDRMPlaylist() noexcept;
std::string_view multipleAudioSubtitlesPlaylist() noexcept;

}  // namespace zorlan::detail::deployment
