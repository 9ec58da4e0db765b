// Stops of the tour about the apps' environment: notifications between
// features, read back with a typed accessor.
#include <cstdint>
#include <optional>
#include <string>

#include "Tour.hpp"
#include "zorlan/Environment/NotificationNames.hpp"
#include "zorlan/Environment/UserInfo.hpp"
#include "zorlan/Platform/URL.hpp"

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

void typedQueryValues() {
  heading("A deep link's query read as typed values");
  std::optional<URL> link =
      URL::fromUnencodedString("zorlan://play?id=1138&start=92.5&hd=true&kids");
  std::cout << "  link: " << link->absoluteString() << "\n";
  std::cout << "  id as an integer: " << *link->queryValue<std::int64_t>("id") << "\n";
  std::cout << "  start as a double: " << std::defaultfloat << *link->queryValue<double>("start") << "\n";
  std::cout << "  hd as a Boolean: " << std::boolalpha << *link->queryValue<bool>("hd") << "\n";
  std::cout << "  kids is a bare flag: hasParameter " << link->hasParameter("kids")
            << ", value present " << link->queryValue("kids").has_value() << "\n";
  std::cout << "  id as a Boolean is absent: " << !link->queryValue<bool>("id").has_value() << "\n";
}

}  // namespace tour
