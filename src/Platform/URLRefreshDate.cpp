// URL's refresh date: an extended attribute on the file at the URL's path.
#include <sys/xattr.h>

#include "Platform/ExtendedAttributes.hpp"
#include "zorlan/Platform/URL.hpp"

namespace zorlan {

namespace detail {

ExtendedAttributeCalls& extendedAttributeCalls() noexcept {
  static ExtendedAttributeCalls calls{::getxattr, ::setxattr, ::removexattr};
  return calls;
}

}  // namespace detail

namespace {

// Linux keeps attributes of ordinary users in the "user." namespace.
constexpr const char* kRefreshDateAttribute = "user.com.corvath.cache.disk.permanent.refreshDate";

// The path to hand to the system calls; absent when it holds a NUL byte
// ("%00"), which would make the calls name another file.
std::optional<std::string> systemPath(const URL& url) {
  std::string path = url.path();
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  return path;
}

std::optional<Date> readRefreshDate(const std::string& path) {
  const detail::ExtendedAttributeCalls& calls = detail::extendedAttributeCalls();
  if (calls.get(path.c_str(), kRefreshDateAttribute, nullptr, 0) < 0) return std::nullopt;
  double seconds = 0;
  // A longer value fails here (the buffer is too small); a shorter one is
  // not a date either.
  if (calls.get(path.c_str(), kRefreshDateAttribute, &seconds, sizeof seconds) !=
      static_cast<ssize_t>(sizeof seconds)) {
    return std::nullopt;
  }
  return Date::fromTimeIntervalSince1970(seconds);
}

}  // namespace

std::optional<Date> URL::refreshDate() const {
  std::optional<std::string> path = systemPath(*this);
  if (!path) return std::nullopt;
  return readRefreshDate(*path);
}

void URL::setRefreshDate(std::optional<Date> date) const {
  std::optional<std::string> path = systemPath(*this);
  if (!path || readRefreshDate(*path) == date) return;
  const detail::ExtendedAttributeCalls& calls = detail::extendedAttributeCalls();
  if (date) {
    double seconds = date->timeIntervalSince1970();
    (void)calls.set(path->c_str(), kRefreshDateAttribute, &seconds, sizeof seconds, 0);
  } else {
    (void)calls.remove(path->c_str(), kRefreshDateAttribute);
  }
}

void URL::setLifetime(std::optional<double> seconds) const {
  setRefreshDate(seconds ? std::optional<Date>(Date::now() + *seconds) : std::nullopt);
}

bool URL::needsRefresh() const {
  if (!isFileURL()) return false;
  std::optional<Date> date = refreshDate();
  return date && Date::now() > *date;
}

}  // namespace zorlan
