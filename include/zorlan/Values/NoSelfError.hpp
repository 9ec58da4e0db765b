// NoSelfError: an operation's owning object went away before it finished.
#pragma once

#include <exception>

namespace zorlan {

// Thrown when an operation cannot finish because the object that owns it is gone.
// The library never throws it; client code throws and recognises it. It has no
// payload and takes the error queries' defaults for any exception: domain
// "zorlan::NoSelfError", code 1, no underlying errors.
// what() is "NoSelfError".
class NoSelfError : public std::exception {
 public:
  NoSelfError() noexcept = default;
  const char* what() const noexcept override { return "NoSelfError"; }
};

}  // namespace zorlan
