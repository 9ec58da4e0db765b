// Readable names of C++ types for error summaries: demangled, with or without
// their namespaces.
#pragma once

#include <string>
#include <string_view>
#include <typeinfo>

namespace zorlan::detail {

// The demangled, namespace-qualified name of `type`, for example
// "zorlan::URLError" or "int". The standard library's wrapper for nested
// exceptions is looked through: a `std::throw_with_nested(URLError(...))`
// names "zorlan::URLError". Falls back to the mangled name if demangling fails.
std::string qualifiedTypeName(const std::type_info& type);

// `name` with every namespace and enclosing-scope qualifier removed, in
// template arguments too: "zorlan::Box<std::vector<int>>" gives
// "Box<vector<int>>", "(anonymous namespace)::Local" gives "Local".
std::string unqualifiedTypeName(std::string_view name);

}  // namespace zorlan::detail
