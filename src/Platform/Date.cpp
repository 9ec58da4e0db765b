#include "zorlan/Platform/Date.hpp"

#include <chrono>

namespace zorlan {

Date Date::now() noexcept {
  auto since1970 =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch());
  return fromTimeIntervalSince1970(since1970.count());
}

}  // namespace zorlan
