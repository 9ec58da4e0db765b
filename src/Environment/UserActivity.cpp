#include "zorlan/Environment/UserActivity.hpp"

namespace zorlan {

std::string_view rawValue(ActivityType type) noexcept {
  return type == ActivityType::home ? "com.developer.app.home" : "com.developer.app.details";
}

template <>
std::optional<ActivityType> fromRawValue<ActivityType>(std::string_view raw) {
  return findByRawValue({ActivityType::home, ActivityType::details}, raw);
}

UserActivity::UserActivity(ActivityType type)
    : activityType(rawValue(type)),
      persistentIdentifier(type == ActivityType::home ? "homeUserActivityId"
                                                      : "detailsUserActivityId") {}

}  // namespace zorlan
