#include "Values/TypeName.hpp"

#include <cxxabi.h>

#include <array>
#include <cstdlib>
#include <memory>

namespace zorlan::detail {
namespace {

// How libstdc++ and libc++ name the class that std::throw_with_nested derives
// from the thrown type.
constexpr std::array<std::string_view, 3> kNestedWrappers = {
    "std::_Nested_exception<", "std::__1::__nested<", "std::__nested<"};

std::string_view lookThroughNestedWrapper(std::string_view name) {
  for (std::string_view prefix : kNestedWrappers) {
    if (name.starts_with(prefix) && name.ends_with('>')) {
      name.remove_prefix(prefix.size());
      name.remove_suffix(1);
      while (name.ends_with(' ')) name.remove_suffix(1);
      return name;
    }
  }
  return name;
}

}  // namespace

std::string qualifiedTypeName(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  if (status != 0 || demangled == nullptr) return type.name();
  return std::string(lookThroughNestedWrapper(demangled.get()));
}

std::string unqualifiedTypeName(std::string_view name) {
  std::string out;
  out.reserve(name.size());
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] != ':' || i + 1 >= name.size() || name[i + 1] != ':') {
      out.push_back(name[i]);
      continue;
    }
    // A "::": drop the qualifier written just before it, which reaches back to
    // the enclosing "<", "(", "," or blank (brackets inside it are skipped).
    std::size_t start = out.size();
    int depth = 0;
    while (start > 0) {
      const char c = out[start - 1];
      if (c == '>' || c == ')' || c == ']' || c == '}') {
        ++depth;
      } else if (c == '<' || c == '(' || c == '[' || c == '{') {
        if (depth == 0) break;
        --depth;
      } else if ((c == ',' || c == ' ') && depth == 0) {
        break;
      }
      --start;
    }
    out.resize(start);
    ++i;
  }
  return out;
}

}  // namespace zorlan::detail
