// Stops of the tour about the apps' environment: notifications between
// features, read back with a typed accessor.
#include <string>

#include "Tour.hpp"
#include "zorlan/Environment/NotificationNames.hpp"
#include "zorlan/Environment/UserInfo.hpp"

namespace tour {

using namespace zorlan;

void notificationsBetweenFeatures() {
  heading("A notification from one feature to another");
  NotificationCenter& center = NotificationCenter::defaultCenter();
  // The watchlist screen observes; the details screen posts. Neither knows the other.
  NotificationCenter::Observation observation =
      center.addObserver(notifications::watchlistUpdated(), [](const Notification& n) {
        std::cout << "  observed \"" << n.name().rawValue() << "\"\n";
        std::cout << "  contentId: " << info<std::string>(n, UserInfoKey::contentId) << "\n";
        std::cout << "  isAddToWatchlist: " << std::boolalpha
                  << info<bool>(n, UserInfoKey::isAddToWatchlist) << "\n";
        try {
          info<std::string>(n, UserInfoKey::seriesId);
        } catch (const UserInfoError& e) {
          std::cout << "  seriesId: " << e.what() << " (the poster sent none)\n";
        }
      });
  post(center, notifications::watchlistUpdated(), nullptr,
       AppUserInfo{{UserInfoKey::contentId, std::string("movie-1138")},
                   {UserInfoKey::isAddToWatchlist, true}});
  observation.remove();
  post(center, notifications::watchlistUpdated());
  std::cout << "  after remove(), a second post reaches nobody\n";
}

}  // namespace tour
