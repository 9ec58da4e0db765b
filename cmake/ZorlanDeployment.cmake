# Deployment values of the Environment area: the configuration service's
# address, the two brands' QA configuration tokens and the two test-stream
# playlists. Each is a cache variable whose default is a placeholder of the
# right form; a deployment sets the real ones (cmake -DZORLAN_...=...). The
# values are checked here and compiled into one generated source file of the
# area, never into a public header.
# Placeholder tokens: valid padded base64 of the right lengths.
string(REPEAT "QUFB" 49 _zorlan_velmor_placeholder)
string(APPEND _zorlan_velmor_placeholder "QQ==")  # 200 characters
string(REPEAT "QUFB" 47 _zorlan_quen_placeholder)
string(APPEND _zorlan_quen_placeholder "QQ==")    # 192 characters
set(ZORLAN_CONFIG_BASE_ADDRESS "https://config.example.invalid/halcyra/sdk-config/" CACHE STRING
  "HTTPS address of the configuration service's sdk-config endpoint, ending in /halcyra/sdk-config/")
set(ZORLAN_VELMOR_QA_TOKEN "${_zorlan_velmor_placeholder}" CACHE STRING
  "QA configuration token of the velmor brand: 200 characters of padded base64")
set(ZORLAN_QUEN_QA_TOKEN "${_zorlan_quen_placeholder}" CACHE STRING
  "QA configuration token of the quen brand: 192 characters of padded base64")
set(ZORLAN_BASIC_NON_DRM_PLAYLIST
  "https://media.example.invalid/test-streams/basic-non-drm/master.m3u8" CACHE STRING
  "HTTPS address of the unencrypted SDR/AAC HLS master playlist used by player tests")
set(ZORLAN_MULTIPLE_AUDIO_SUBTITLES_PLAYLIST
  "https://media.example.invalid/test-streams/multiple-audio-subtitles/master.m3u8" CACHE STRING
  "HTTPS address of the unencrypted HLS master playlist with several audio and subtitle languages")

# Stops the configuration unless `value` is padded base64 of `length` characters.
function(zorlan_check_token name value length)
  string(LENGTH "${value}" actual)
  if(NOT actual EQUAL length)
    message(FATAL_ERROR "${name} must be ${length} characters of base64, not ${actual}")
  endif()
  if(NOT value MATCHES "^[A-Za-z0-9+/]+(==|=)?$")
    message(FATAL_ERROR "${name} must use only A-Z, a-z, 0-9, '+' and '/', padded with '='")
  endif()
endfunction()

# Stops the configuration unless `value` is an HTTPS address without quotes,
# backslashes or white space.
function(zorlan_check_https name value)
  if(NOT value MATCHES "^https://[^\"\\\\ \t\r\n]+$")
    message(FATAL_ERROR "${name} must be an https:// address, not '${value}'")
  endif()
endfunction()

zorlan_check_https(ZORLAN_CONFIG_BASE_ADDRESS "${ZORLAN_CONFIG_BASE_ADDRESS}")
if(NOT ZORLAN_CONFIG_BASE_ADDRESS MATCHES "/halcyra/sdk-config/$")
  message(FATAL_ERROR "ZORLAN_CONFIG_BASE_ADDRESS must end in /halcyra/sdk-config/")
endif()
zorlan_check_token(ZORLAN_VELMOR_QA_TOKEN "${ZORLAN_VELMOR_QA_TOKEN}" 200)
zorlan_check_token(ZORLAN_QUEN_QA_TOKEN "${ZORLAN_QUEN_QA_TOKEN}" 192)
zorlan_check_https(ZORLAN_BASIC_NON_DRM_PLAYLIST "${ZORLAN_BASIC_NON_DRM_PLAYLIST}")
zorlan_check_https(ZORLAN_MULTIPLE_AUDIO_SUBTITLES_PLAYLIST
  "${ZORLAN_MULTIPLE_AUDIO_SUBTITLES_PLAYLIST}")
if(ZORLAN_BASIC_NON_DRM_PLAYLIST STREQUAL ZORLAN_MULTIPLE_AUDIO_SUBTITLES_PLAYLIST)
  message(FATAL_ERROR "The two test-stream playlists must have different addresses")
endif()

# zorlan_add_deployment_values(<area target>): compiles the values into it.
function(zorlan_add_deployment_values target)
  set(generated ${PROJECT_BINARY_DIR}/generated/Environment/DeploymentValues.cpp)
  configure_file(${PROJECT_SOURCE_DIR}/src/Environment/DeploymentValues.cpp.in ${generated} @ONLY)
  target_sources(${target} PRIVATE ${generated})
endfunction()
