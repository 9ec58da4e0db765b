// The names decoding errors give to the types they expected: "Int", "String",
// "Array<Int>", "Dictionary<String, Double>", or a type's own unqualified name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <vector>

#include "zorlan/Coding/CodingFwd.hpp"

namespace zorlan {

namespace detail {
// "Int" / "UInt" for 64-bit integers, "Int32", "UInt8"... for the others.
std::string integerTypeName(bool isSigned, std::size_t size);
// The unqualified, demangled name of a type ("Artwork", "Quality").
std::string demangledTypeName(const char* mangled);
}  // namespace detail

// By default, the demangled name of the type.
template <class T, class Enable>
struct CodingTypeName {
  static std::string name() { return detail::demangledTypeName(typeid(T).name()); }
};

// The readable name of `T` for decoding errors. Thread-safe.
template <class T>
std::string codingTypeName() {
  return CodingTypeName<T>::name();
}

template <>
struct CodingTypeName<bool> {
  static std::string name() { return "Bool"; }
};
template <>
struct CodingTypeName<std::string> {
  static std::string name() { return "String"; }
};
template <>
struct CodingTypeName<double> {
  static std::string name() { return "Double"; }
};
template <>
struct CodingTypeName<float> {
  static std::string name() { return "Float"; }
};
template <class I>
struct CodingTypeName<I, std::enable_if_t<std::is_integral_v<I> && !std::is_same_v<I, bool>>> {
  static std::string name() { return detail::integerTypeName(std::is_signed_v<I>, sizeof(I)); }
};
template <class T>
struct CodingTypeName<std::optional<T>> {
  static std::string name() { return "Optional<" + codingTypeName<T>() + ">"; }
};
template <class T, class A>
struct CodingTypeName<std::vector<T, A>> {
  static std::string name() { return "Array<" + codingTypeName<T>() + ">"; }
};
template <class T, class C, class A>
struct CodingTypeName<std::set<T, C, A>> {
  static std::string name() { return "Set<" + codingTypeName<T>() + ">"; }
};
template <class V, class C, class A>
struct CodingTypeName<std::map<std::string, V, C, A>> {
  static std::string name() { return "Dictionary<String, " + codingTypeName<V>() + ">"; }
};
template <class V, class H, class E, class A>
struct CodingTypeName<std::unordered_map<std::string, V, H, E, A>> {
  static std::string name() { return "Dictionary<String, " + codingTypeName<V>() + ">"; }
};

}  // namespace zorlan
