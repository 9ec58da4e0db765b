// Helpers for the coding and JSON tests: a codable fixture, a decoding error as one comparable
// line, the error a decode or encode raises, and typed trees as sorted text.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "zorlan/Coding/JSONDecoder.hpp"
#include "zorlan/Coding/JSONEncoder.hpp"
#include "zorlan/JSON/TypedJSONContainer.hpp"

namespace zorlan::testing {

struct Artwork {
  std::string url;
  double aspectRatio = 0;
  std::optional<std::string> label;
  bool operator==(const Artwork&) const = default;
};
ZORLAN_CODABLE(Artwork, url, aspectRatio, label);

// "kind [path] debugDescription": kind, coding path and text in one line.
inline std::string describe(const DecodingError& error) {
  static constexpr const char* kNames[] = {"typeMismatch", "valueNotFound", "keyNotFound",
                                           "dataCorrupted"};
  return std::string(kNames[static_cast<int>(error.kind())]) + " [" +
         codingPathString(error.context().codingPath) + "] " + error.context().debugDescription;
}

// The error of type E `run` raises; a test failure (and a throw) when there is none.
template <class E, class F>
E raised(F&& run) {
  try {
    run();
  } catch (const E& error) {
    return error;
  }
  ADD_FAILURE() << "no error";
  throw std::logic_error("no error");
}

// The error decoding `json` as T raises.
template <class T>
DecodingError decodingError(std::string_view json, const JSONDecoder& decoder = JSONDecoder()) {
  return raised<DecodingError>([&] { decoder.decode<T>(json); });
}

// "ok" when `json` decodes as T, else the error described.
template <class T>
std::string decodeOutcome(std::string_view json, const JSONDecoder& decoder = JSONDecoder()) {
  try {
    decoder.decode<T>(json);
    return "ok";
  } catch (const DecodingError& error) {
    return describe(error);
  }
}

inline TypedJSON parseTyped(std::string_view json) { return JSONDecoder().decode<TypedJSON>(json); }

// Compact JSON with sorted keys: one text per tree.
inline std::string sortedText(const TypedJSON& tree) {
  JSONEncoder encoder;
  encoder.outputFormatting.sortedKeys = true;
  return encoder.encodeToString(tree);
}

}  // namespace zorlan::testing
