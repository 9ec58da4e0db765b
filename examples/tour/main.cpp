// A tour of ZorlanFoundation: the library at work, printed for a person.
#include "Tour.hpp"

int main() {
  std::cout << "ZorlanFoundation tour\n";
  tour::reactiveValues();
  tour::queues();
  tour::virtualTime();
  tour::logging();
  tour::coreValues();
  tour::notificationsBetweenFeatures();
  tour::typedQueryValues();
  tour::storedSettings();
  tour::playbackFlow();
  tour::timePoints();
  tour::deepLinks();
  return 0;
}
