#include "zorlan/Environment/UserInfo.hpp"

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

namespace zorlan {

namespace {

constexpr std::array<std::pair<UserInfoKey, std::string_view>, 11> kUserInfoKeys{{
    {UserInfoKey::contentIdentifier, "contentIdentifier"},
    {UserInfoKey::contentId, "contentId"},
    {UserInfoKey::seriesId, "seriesId"},
    {UserInfoKey::bookmarkUpsert, "bookmarkUpsert"},
    {UserInfoKey::isAddToWatchlist, "isAddToWatchlist"},
    {UserInfoKey::source, "source"},
    {UserInfoKey::pageName, "pageName"},
    {UserInfoKey::pageViewId, "pageViewId"},
    {UserInfoKey::experimentKeys, "experimentKeys"},
    {UserInfoKey::errorDescription, "errorDescription"},
    {UserInfoKey::setId, "setId"},
}};

std::string describe(const UserInfoError::Case& error) {
  struct Describe {
    std::string operator()(const UserInfoError::NotFound& e) const {
      return "notFound(" + std::string(rawValue(e.key)) + ")";
    }
    std::string operator()(const UserInfoError::WrongTypeFound& e) const {
      return "wrongTypeFound(" + std::string(rawValue(e.key)) + ", " + e.found.type().name() + ")";
    }
    std::string operator()(const UserInfoError::NoUserInfo&) const { return "noUserInfo"; }
  };
  return std::visit(Describe{}, error);
}

// A held number, widened without loss.
struct HeldNumber {
  enum class Kind { signedInteger, unsignedInteger, floating, boolean } kind;
  long long s = 0;
  unsigned long long u = 0;
  long double f = 0;
};

template <class H>
bool holdNumber(const std::any& value, HeldNumber& out) {
  const H* held = std::any_cast<H>(&value);
  if (held == nullptr) return false;
  if constexpr (std::is_same_v<H, bool>) {
    out = {HeldNumber::Kind::boolean, *held ? 1 : 0, *held ? 1u : 0u, *held ? 1.0L : 0.0L};
  } else if constexpr (std::is_floating_point_v<H>) {
    out = {HeldNumber::Kind::floating, 0, 0, static_cast<long double>(*held)};
  } else if constexpr (std::is_signed_v<H>) {
    out = {HeldNumber::Kind::signedInteger, *held, 0, 0};
  } else {
    out = {HeldNumber::Kind::unsignedInteger, 0, *held, 0};
  }
  return true;
}

std::optional<HeldNumber> heldNumber(const std::any& value) {
  HeldNumber n{};
  bool found = holdNumber<bool>(value, n) || holdNumber<char>(value, n) ||
               holdNumber<signed char>(value, n) || holdNumber<unsigned char>(value, n) ||
               holdNumber<short>(value, n) || holdNumber<unsigned short>(value, n) ||
               holdNumber<int>(value, n) || holdNumber<unsigned>(value, n) ||
               holdNumber<long>(value, n) || holdNumber<unsigned long>(value, n) ||
               holdNumber<long long>(value, n) || holdNumber<unsigned long long>(value, n) ||
               holdNumber<float>(value, n) || holdNumber<double>(value, n) ||
               holdNumber<long double>(value, n);
  if (!found) return std::nullopt;
  return n;
}

template <class T>
std::optional<T> exactly(const HeldNumber& n) {
  using Kind = HeldNumber::Kind;
  if constexpr (std::is_same_v<T, bool>) {
    bool zero = n.kind == Kind::floating ? n.f == 0 : (n.s == 0 && n.u == 0);
    bool one = n.kind == Kind::floating ? n.f == 1 : (n.s == 1 || n.u == 1);
    if (zero || one) return one;
    return std::nullopt;
  } else if constexpr (std::is_integral_v<T>) {
    // std::in_range takes no plain char: use the character type of its sign.
    using R =
        std::conditional_t<std::is_same_v<T, char>,
                           std::conditional_t<std::is_signed_v<char>, signed char, unsigned char>,
                           T>;
    if (n.kind == Kind::signedInteger || n.kind == Kind::boolean) {
      if (std::in_range<R>(n.s)) return static_cast<T>(n.s);
    } else if (n.kind == Kind::unsignedInteger) {
      if (std::in_range<R>(n.u)) return static_cast<T>(n.u);
    } else if (std::isfinite(n.f) && std::trunc(n.f) == n.f) {
      // Within range of T when strictly inside its bounds widened to long
      // double (every 64-bit integer is exact in x87 extended precision).
      auto low = static_cast<long double>(std::numeric_limits<T>::min());
      auto high = static_cast<long double>(std::numeric_limits<T>::max());
      if (n.f >= low && n.f <= high) return static_cast<T>(n.f);
    }
    return std::nullopt;
  } else {
    long double wide = n.kind == Kind::floating          ? n.f
                       : n.kind == Kind::unsignedInteger ? static_cast<long double>(n.u)
                                                         : static_cast<long double>(n.s);
    if (std::isnan(wide)) return std::numeric_limits<T>::quiet_NaN();
    if (std::isfinite(wide) && std::fabs(wide) > std::numeric_limits<T>::max()) return std::nullopt;
    T narrow = static_cast<T>(wide);
    if (static_cast<long double>(narrow) == wide) return narrow;
    return std::nullopt;
  }
}

}  // namespace

std::string_view rawValue(UserInfoKey key) noexcept {
  for (const auto& [k, raw] : kUserInfoKeys) {
    if (k == key) return raw;
  }
  return {};
}

template <>
std::optional<UserInfoKey> fromRawValue<UserInfoKey>(std::string_view raw) {
  for (const auto& [key, text] : kUserInfoKeys) {
    if (text == raw) return key;
  }
  return std::nullopt;
}

UserInfoError::UserInfoError(Case error) : error_(std::move(error)), message_(describe(error_)) {}

namespace detail {

template <class T>
std::optional<T> bridgedUserInfoValue(const std::any& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    if (const auto* view = std::any_cast<std::string_view>(&value)) return std::string(*view);
    if (const auto* text = std::any_cast<const char*>(&value)) {
      if (*text != nullptr) return std::string(*text);
    }
    if (const auto* text = std::any_cast<char*>(&value)) {
      if (*text != nullptr) return std::string(*text);
    }
    return std::nullopt;
  } else {
    auto number = heldNumber(value);
    if (!number) return std::nullopt;
    return exactly<T>(*number);
  }
}

template std::optional<std::string> bridgedUserInfoValue<std::string>(const std::any&);
template std::optional<bool> bridgedUserInfoValue<bool>(const std::any&);
template std::optional<char> bridgedUserInfoValue<char>(const std::any&);
template std::optional<signed char> bridgedUserInfoValue<signed char>(const std::any&);
template std::optional<unsigned char> bridgedUserInfoValue<unsigned char>(const std::any&);
template std::optional<short> bridgedUserInfoValue<short>(const std::any&);
template std::optional<unsigned short> bridgedUserInfoValue<unsigned short>(const std::any&);
template std::optional<int> bridgedUserInfoValue<int>(const std::any&);
template std::optional<unsigned> bridgedUserInfoValue<unsigned>(const std::any&);
template std::optional<long> bridgedUserInfoValue<long>(const std::any&);
template std::optional<unsigned long> bridgedUserInfoValue<unsigned long>(const std::any&);
template std::optional<long long> bridgedUserInfoValue<long long>(const std::any&);
template std::optional<unsigned long long> bridgedUserInfoValue<unsigned long long>(
    const std::any&);
template std::optional<float> bridgedUserInfoValue<float>(const std::any&);
template std::optional<double> bridgedUserInfoValue<double>(const std::any&);
template std::optional<long double> bridgedUserInfoValue<long double>(const std::any&);

}  // namespace detail

void post(NotificationCenter& center, NotificationName name, const void* object,
          std::optional<AppUserInfo> info) {
  std::shared_ptr<const UserInfo> userInfo;
  if (info) {
    auto map = std::make_shared<UserInfo>();
    map->reserve(info->size());
    for (auto& [key, value] : *info) map->emplace(AnyHashable(key), std::move(value));
    userInfo = std::move(map);
  }
  center.post(name, object, std::move(userInfo));
}

}  // namespace zorlan
