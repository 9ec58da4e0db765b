// Display: facts about the main screen that the host application states (the
// library draws nothing and cannot ask a window system):
//
//   zorlan::Display::setScale(2.0);
//   zorlan::Display::setHorizontalSizeClass(zorlan::UserInterfaceSizeClass::regular);
#pragma once

namespace zorlan {

// The width class of the main screen's layout, as the user interface sees it.
enum class UserInterfaceSizeClass { unspecified, compact, regular };

// The main screen's facts. Each is one process-wide value; setters and getters
// may be called from any thread and cost one atomic access.
class Display {
 public:
  // Pixels per point of the main screen; 1.0 until set.
  static double scale() noexcept;
  // Precondition: `scale` is finite and above 0.
  static void setScale(double scale);

  // The main screen's horizontal size class; `unspecified` until set.
  static UserInterfaceSizeClass horizontalSizeClass() noexcept;
  static void setHorizontalSizeClass(UserInterfaceSizeClass sizeClass) noexcept;
};

}  // namespace zorlan
