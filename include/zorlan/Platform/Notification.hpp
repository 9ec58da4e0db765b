// Notification: what a `NotificationCenter` delivers: a name, the sender it
// came from (if any) and optional user information.
#pragma once

#include <any>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "zorlan/Platform/AnyHashable.hpp"

namespace zorlan {

// A notification's name. Names are interned: making one from text looks the
// text up once (thread-safe), after which copies, comparison and hashing cost
// a pointer. Observers match names by their text.
class NotificationName {
 public:
  explicit NotificationName(std::string_view rawValue);

  std::string_view rawValue() const noexcept { return *text_; }

  friend bool operator==(NotificationName a, NotificationName b) noexcept {
    return a.text_ == b.text_;
  }

 private:
  friend struct std::hash<NotificationName>;
  const std::string* text_;
};

// User information: values of any type under keys of text, integers or
// enumerations (see AnyHashable).
using UserInfo = std::unordered_map<AnyHashable, std::any>;

// An immutable notification. Copies share the user information.
class Notification {
 public:
  explicit Notification(NotificationName name, const void* object = nullptr,
                        std::shared_ptr<const UserInfo> userInfo = nullptr) noexcept
      : name_(name), object_(object), userInfo_(std::move(userInfo)) {}

  NotificationName name() const noexcept { return name_; }
  // The sender, compared by identity only: the centre never dereferences it.
  const void* object() const noexcept { return object_; }
  // The user information, or null when the notification carries none (which
  // is not the same as carrying an empty map).
  const UserInfo* userInfo() const noexcept { return userInfo_.get(); }

 private:
  NotificationName name_;
  const void* object_;
  std::shared_ptr<const UserInfo> userInfo_;
};

}  // namespace zorlan

template <>
struct std::hash<zorlan::NotificationName> {
  std::size_t operator()(zorlan::NotificationName name) const noexcept {
    return std::hash<const void*>()(name.text_);
  }
};
