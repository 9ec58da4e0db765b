// Typed user information of the apps' notifications: the closed set of keys
// a poster may use, a posting helper, and a reader that says exactly what
// went wrong.
//
//   post(center, notifications::watchlistUpdated(), this,
//        AppUserInfo{{UserInfoKey::contentId, std::string("m-42")}});
//   ...
//   std::string id = info<std::string>(notification, UserInfoKey::contentId);
#pragma once

#include <any>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <variant>

#include "zorlan/Platform/NotificationCenter.hpp"
#include "zorlan/Platform/RawValue.hpp"

namespace zorlan {

// The keys that may appear in a notification's user information. In the
// user information the key is the enumerator itself: a value posted under the
// text "contentId" is not found under UserInfoKey::contentId.
enum class UserInfoKey {
  contentIdentifier,
  contentId,
  seriesId,
  bookmarkUpsert,
  isAddToWatchlist,
  source,
  pageName,
  pageViewId,
  experimentKeys,
  errorDescription,
  setId,
};

// The raw value of a key: its enumerator's name ("contentId").
std::string_view rawValue(UserInfoKey key) noexcept;

// The key whose raw value is exactly `raw` (case-sensitive), if any.
template <>
std::optional<UserInfoKey> fromRawValue<UserInfoKey>(std::string_view raw);

using AppUserInfo = std::unordered_map<UserInfoKey, std::any>;

// Why `info` found no value of the asked type.
class UserInfoError : public std::exception {
 public:
  // The notification has user information, but nothing under `key`.
  struct NotFound {
    UserInfoKey key;
  };
  // Something is under `key`, but not of the asked type; `found` is what.
  struct WrongTypeFound {
    UserInfoKey key;
    std::any found;
  };
  // The notification carries no user information at all.
  struct NoUserInfo {};
  using Case = std::variant<NotFound, WrongTypeFound, NoUserInfo>;

  explicit UserInfoError(Case error);
  const Case& error() const noexcept { return error_; }
  // "notFound(contentId)", "wrongTypeFound(seriesId, <type name>)", "noUserInfo".
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  Case error_;
  std::string message_;
};

namespace detail {
// The value converted as the platform's bridging would, or absent. Defined
// for std::string, bool and the arithmetic types.
template <class T>
std::optional<T> bridgedUserInfoValue(const std::any& value);
}  // namespace detail

// The value under `key` as a T. How a value qualifies:
// - it holds exactly a T (std::any_cast), for any T;
// - text: std::string, std::string_view and const char* values read as one
//   another, as the platform's bridged strings do;
// - numbers (every arithmetic type but char): a number reads as another
//   arithmetic type when the conversion is exact (5 as 5.0, 2.0 as 2, but
//   not 2.5 as an integer nor 300 as int8_t); as bool only when 0 or 1;
//   a bool reads as the number 0 or 1. Numbers are never text, nor the
//   reverse.
// Throws UserInfoError: NoUserInfo when the notification carries none,
// NotFound when nothing is under the key, WrongTypeFound otherwise.
template <class T>
T info(const Notification& notification, UserInfoKey key) {
  const UserInfo* userInfo = notification.userInfo();
  if (userInfo == nullptr) throw UserInfoError(UserInfoError::NoUserInfo{});
  auto entry = userInfo->find(AnyHashable(key));
  if (entry == userInfo->end()) throw UserInfoError(UserInfoError::NotFound{key});
  if (const T* exact = std::any_cast<T>(&entry->second)) return *exact;
  if constexpr (std::is_same_v<T, std::string> || std::is_arithmetic_v<T>) {
    if (auto bridged = detail::bridgedUserInfoValue<T>(entry->second)) return *bridged;
  }
  throw UserInfoError(UserInfoError::WrongTypeFound{key, entry->second});
}

// Posts `name` from `object` with `info` as its user information (keyed by
// the enumerators); with no `info` the notification carries none.
void post(NotificationCenter& center, NotificationName name, const void* object = nullptr,
          std::optional<AppUserInfo> info = std::nullopt);

}  // namespace zorlan
