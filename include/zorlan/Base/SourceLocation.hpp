// SourceLocation: the file, line and function of a call site, captured by a
// default argument.
//
// std::source_location is not usable with every supported toolchain (Clang 14
// over libstdc++ 12 lacks the builtin it needs), so the library captures call
// sites with the __builtin_FILE/LINE/FUNCTION intrinsics that GCC and Clang
// both evaluate at the caller when used as default arguments.
#pragma once

namespace zorlan {

class SourceLocation {
 public:
  // The location of the call site when used as a default argument:
  //   void f(SourceLocation where = SourceLocation::current());
  static constexpr SourceLocation current(const char* file = __builtin_FILE(),
                                          int line = __builtin_LINE(),
                                          const char* function = __builtin_FUNCTION()) noexcept {
    return SourceLocation(file, line, function);
  }

  constexpr SourceLocation() noexcept = default;
  constexpr SourceLocation(const char* file, int line, const char* function) noexcept
      : file_(file), line_(line), function_(function) {}

  constexpr const char* file_name() const noexcept { return file_; }
  constexpr int line() const noexcept { return line_; }
  constexpr const char* function_name() const noexcept { return function_; }

 private:
  const char* file_ = "";
  int line_ = 0;
  const char* function_ = "";
};

}  // namespace zorlan
