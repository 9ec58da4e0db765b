// Reachability: the vocabulary shared with the network reachability monitor
// of the host application.
#pragma once

#include <string_view>

namespace zorlan::reachability {

// The name of the notification the reachability monitor posts when the
// network's reachability changes.
inline constexpr std::string_view kChangedNotification = "ReachabilityChangedNotification";

}  // namespace zorlan::reachability
