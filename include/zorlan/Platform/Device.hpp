// Device: what kind of device the host application runs on. The library
// cannot find this out by itself on every system it builds for, so the host
// application states it once at start:
//
//   zorlan::Device::setFamily(zorlan::DeviceFamily::tv);
//   if (zorlan::Device::family() == zorlan::DeviceFamily::tv) { ... }
#pragma once

#include <string_view>

namespace zorlan {

// The families of devices the applications run on. `unspecified` is the
// family until the host application sets one.
enum class DeviceFamily {
  unspecified,
  phone,   // a phone running iOS
  pad,     // a tablet running iOS (iPadOS)
  tv,      // a television device (tvOS)
  watch,   // a watch (watchOS)
  mac,     // a desktop computer, Catalyst or not
  vision,  // a headset (visionOS)
};

// "unspecified", "phone", "pad", "tv", "watch", "mac" or "vision".
std::string_view rawValue(DeviceFamily family) noexcept;

// The device facts the host application sets. Each is one process-wide value;
// setters and getters may be called from any thread (every reader sees the
// last value set, or the default), and cost one atomic access.
class Device {
 public:
  // The device family; `DeviceFamily::unspecified` until set.
  static DeviceFamily family() noexcept;
  static void setFamily(DeviceFamily family) noexcept;

  // Whether the process runs in a device simulator; false until set.
  static bool isSimulator() noexcept;
  static void setSimulator(bool simulator) noexcept;

  // Whether the process is an iPad application running on a Mac (Catalyst);
  // false until set. Independent of `family()`, which a Catalyst host usually
  // sets to `mac`.
  static bool isCatalyst() noexcept;
  static void setCatalyst(bool catalyst) noexcept;

  // Whether the family is `vision`.
  static bool isVision() noexcept { return family() == DeviceFamily::vision; }
};

}  // namespace zorlan
