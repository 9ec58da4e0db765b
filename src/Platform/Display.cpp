#include "zorlan/Platform/Display.hpp"

#include <atomic>
#include <cmath>

#include "zorlan/Base/Precondition.hpp"

namespace zorlan {
namespace {

std::atomic<double> gScale{1.0};
std::atomic<UserInterfaceSizeClass> gHorizontalSizeClass{UserInterfaceSizeClass::unspecified};

}  // namespace

double Display::scale() noexcept { return gScale.load(std::memory_order_acquire); }
void Display::setScale(double scale) {
  ZORLAN_PRECONDITION(std::isfinite(scale) && scale > 0, "a display scale is finite and above 0");
  gScale.store(scale, std::memory_order_release);
}

UserInterfaceSizeClass Display::horizontalSizeClass() noexcept {
  return gHorizontalSizeClass.load(std::memory_order_acquire);
}
void Display::setHorizontalSizeClass(UserInterfaceSizeClass sizeClass) noexcept {
  gHorizontalSizeClass.store(sizeClass, std::memory_order_release);
}

}  // namespace zorlan
