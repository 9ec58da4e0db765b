// AnyHashable: a dictionary key that remembers the type it was made from.
//
// Notification user information is keyed by values of several types: text,
// integers and enumerations. Two keys are equal only when both the type and
// the value are equal, so an enumeration key is never found by a text key
// that spells its raw value, and `Key::a` of one enumeration never matches
// the enumerator with the same number in another.
//
//   UserInfo info{{UserInfoKey::contentId, std::string("42")}, {"plain", 1}};
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <utility>

namespace zorlan {

class AnyHashable {
 public:
  // Text keys (std::string, string literals and views all make the same key).
  AnyHashable(std::string text) : type_(&typeid(std::string)), text_(std::move(text)) {}
  AnyHashable(std::string_view text) : AnyHashable(std::string(text)) {}
  AnyHashable(const char* text) : AnyHashable(std::string(text)) {}

  // Integer keys of any width and signedness make the same key for the same
  // number, as the platform's bridged numbers do. Booleans are not integers.
  template <std::integral I>
  requires(!std::same_as<I, bool>) AnyHashable(I number)
      : type_(&typeid(std::int64_t)), number_(static_cast<std::int64_t>(number)) {}

  // Enumeration keys: equal when of the same enumeration and enumerator.
  template <class E>
  requires std::is_enum_v<E> AnyHashable(E value)
      : type_(&typeid(E)), number_(static_cast<std::int64_t>(value)) {}

  // The type the key was made from (std::string for text, std::int64_t for
  // integers, the enumeration itself for enumerations).
  const std::type_info& type() const noexcept { return *type_; }

  // The key's value when it was made from `T`, else absent.
  template <class T>
  std::optional<T> as() const {
    if constexpr (std::is_enum_v<T> || std::same_as<T, std::int64_t>) {
      if (*type_ == typeid(T)) return static_cast<T>(number_);
    } else if constexpr (std::same_as<T, std::string>) {
      if (*type_ == typeid(std::string)) return text_;
    }
    return std::nullopt;
  }

  friend bool operator==(const AnyHashable& a, const AnyHashable& b) noexcept {
    return *a.type_ == *b.type_ && a.number_ == b.number_ && a.text_ == b.text_;
  }

  std::size_t hash() const noexcept {
    std::size_t value = *type_ == typeid(std::string) ? std::hash<std::string>()(text_)
                                                      : std::hash<std::int64_t>()(number_);
    return value ^ (type_->hash_code() * 0x9E3779B97F4A7C15ull);
  }

 private:
  const std::type_info* type_;
  std::int64_t number_ = 0;
  std::string text_;
};

}  // namespace zorlan

template <>
struct std::hash<zorlan::AnyHashable> {
  std::size_t operator()(const zorlan::AnyHashable& key) const noexcept { return key.hash(); }
};
