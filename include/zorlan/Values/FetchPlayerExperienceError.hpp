// FetchPlayerExperienceError: fetching the player experience failed.
#pragma once

#include <exception>

namespace zorlan {

// Thrown when the player experience could not be fetched.
// The library never throws it; client code throws and recognises it. It has no
// payload and takes the error queries' defaults for any exception: domain
// "zorlan::FetchPlayerExperienceError", code 1, no underlying errors.
// what() is "FetchPlayerExperienceError".
class FetchPlayerExperienceError : public std::exception {
 public:
  FetchPlayerExperienceError() noexcept = default;
  const char* what() const noexcept override { return "FetchPlayerExperienceError"; }
};

}  // namespace zorlan
