// Device facts the applications ask for everywhere: the family tests, the
// platform chooser and the disk capacity of the home directory's volume.
// The family and the simulator and Catalyst flags are the ones the host
// application set on `zorlan::Device` (zorlan/Platform/Device.hpp).
//
//   if (zorlan::device::isTV()) ...
//   int columns = zorlan::device::platform<int>(4, 6, 5, 3);
//   if (auto free = zorlan::device::availableDiskCapacity()) ...
#pragma once

#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

#include "zorlan/Platform/Device.hpp"

namespace zorlan::device {

// Each compares `Device::family()` with one family: tv, watch, pad, phone.
inline bool isTV() noexcept { return Device::family() == DeviceFamily::tv; }
inline bool isWatch() noexcept { return Device::family() == DeviceFamily::watch; }
inline bool isPad() noexcept { return Device::family() == DeviceFamily::pad; }
inline bool isPhone() noexcept { return Device::family() == DeviceFamily::phone; }
// The iOS family of devices: a phone or a pad. A Catalyst application on a
// Mac (family `mac`) is not iOS here; ask `isCatalyst()`.
inline bool isIOS() noexcept { return isPhone() || isPad(); }

// Forwarded from `Device`.
inline bool isSimulator() noexcept { return Device::isSimulator(); }
inline bool isCatalyst() noexcept { return Device::isCatalyst(); }
inline bool isVision() noexcept { return Device::isVision(); }

// The free space, in bytes, of the volume holding the home directory ($HOME,
// else the user database's entry for the real user) that an unprivileged
// process may use (statvfs: f_bavail * f_frsize). Absent on failure, which is
// logged on `Log::shared()` at level debug, source
// "Extensions/Device+Extensions":
//   "Could not get available disk space - error: <description>" when the
//   query fails (no home directory, statvfs fails), or
//   "Could not get available disk space - retrieved nil" when the volume
//   reports no block size or a size beyond 64 bits.
std::optional<std::uint64_t> availableDiskCapacity();

// The total size, in bytes, of the same volume (f_blocks * f_frsize). Fails
// and logs as `availableDiskCapacity`, the messages starting "Could not get
// total disk space".
std::optional<std::uint64_t> totalDiskCapacity();

// The value for `family`'s platform: phone and pad take `iOS`, tv takes
// `tvOS`, vision takes `visionOS`; watch, mac and unspecified take `other`.
// An absent value for the family's platform falls back to `other` too.
template <class T>
T platform(DeviceFamily family, std::optional<std::type_identity_t<T>> iOS,
           std::optional<std::type_identity_t<T>> tvOS,
           std::optional<std::type_identity_t<T>> visionOS, T other) {
  std::optional<T>* chosen = nullptr;
  switch (family) {
    case DeviceFamily::phone:
    case DeviceFamily::pad:
      chosen = &iOS;
      break;
    case DeviceFamily::tv:
      chosen = &tvOS;
      break;
    case DeviceFamily::vision:
      chosen = &visionOS;
      break;
    default:
      break;
  }
  return chosen && *chosen ? std::move(**chosen) : std::move(other);
}

// The same for the family the host application set (`Device::family()`).
template <class T>
T platform(std::optional<std::type_identity_t<T>> iOS, std::optional<std::type_identity_t<T>> tvOS,
           std::optional<std::type_identity_t<T>> visionOS, T other) {
  return platform<T>(Device::family(), std::move(iOS), std::move(tvOS), std::move(visionOS),
                     std::move(other));
}

}  // namespace zorlan::device
