#include "zorlan/Platform/Device.hpp"

#include <atomic>

namespace zorlan {
namespace {

std::atomic<DeviceFamily> gFamily{DeviceFamily::unspecified};
std::atomic<bool> gSimulator{false};
std::atomic<bool> gCatalyst{false};

}  // namespace

std::string_view rawValue(DeviceFamily family) noexcept {
  switch (family) {
    case DeviceFamily::phone:
      return "phone";
    case DeviceFamily::pad:
      return "pad";
    case DeviceFamily::tv:
      return "tv";
    case DeviceFamily::watch:
      return "watch";
    case DeviceFamily::mac:
      return "mac";
    case DeviceFamily::vision:
      return "vision";
    case DeviceFamily::unspecified:
      break;
  }
  return "unspecified";
}

DeviceFamily Device::family() noexcept { return gFamily.load(std::memory_order_acquire); }
void Device::setFamily(DeviceFamily family) noexcept {
  gFamily.store(family, std::memory_order_release);
}
bool Device::isSimulator() noexcept { return gSimulator.load(std::memory_order_acquire); }
void Device::setSimulator(bool simulator) noexcept {
  gSimulator.store(simulator, std::memory_order_release);
}
bool Device::isCatalyst() noexcept { return gCatalyst.load(std::memory_order_acquire); }
void Device::setCatalyst(bool catalyst) noexcept {
  gCatalyst.store(catalyst, std::memory_order_release);
}

}  // namespace zorlan
