// User activities: what the app was showing, kept for state restoration and
// hand-off between devices.
//
//   UserActivity activity(ActivityType::details);
//   activity.activityType;            // "com.developer.app.details"
//   activity.persistentIdentifier;    // "detailsUserActivityId"
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zorlan/Platform/RawValue.hpp"

namespace zorlan {

enum class ActivityType { home, details };

// "com.developer.app.home", "com.developer.app.details".
std::string_view rawValue(ActivityType type) noexcept;
template <>
std::optional<ActivityType> fromRawValue<ActivityType>(std::string_view raw);

// A user activity as the host platform's activity API takes it: a type and
// the identifier under which the system may delete what it persisted.
struct UserActivity {
  // An activity of `type` ("homeUserActivityId" or "detailsUserActivityId"
  // as its persistent identifier); nothing else is set.
  explicit UserActivity(ActivityType type);

  std::string activityType;
  std::optional<std::string> persistentIdentifier;
};

}  // namespace zorlan
