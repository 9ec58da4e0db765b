#include "zorlan/Dispatch/DispatchTime.hpp"

#include <atomic>

#include "Dispatch/QueueImpl.hpp"

namespace zorlan {
namespace {

std::atomic<bool> gManual{false};
std::atomic<std::int64_t> gManualNow{0};

}  // namespace

DispatchTime DispatchTime::now() noexcept {
  if (gManual.load(std::memory_order_acquire)) {
    return DispatchTime(gManualNow.load(std::memory_order_acquire));
  }
  return DispatchTime(std::chrono::duration_cast<std::chrono::nanoseconds>(
                          std::chrono::steady_clock::now().time_since_epoch())
                          .count());
}

void DispatchClock::useManualClock(DispatchTime start) noexcept {
  gManualNow.store(start.uptimeNanoseconds(), std::memory_order_release);
  gManual.store(true, std::memory_order_release);
  detail::mainQueueImpl()->wakeMain();
}

void DispatchClock::useSystemClock() noexcept {
  gManual.store(false, std::memory_order_release);
  // A host blocked in `MainRunLoop::run()` measures its delayed work again.
  detail::mainQueueImpl()->wakeMain();
}

bool DispatchClock::isManual() noexcept { return gManual.load(std::memory_order_acquire); }

void DispatchClock::advance(DispatchTimeInterval interval) noexcept {
  if (interval.count() <= 0 || !gManual.load(std::memory_order_acquire)) return;
  std::int64_t current = gManualNow.load(std::memory_order_acquire);
  while (!gManualNow.compare_exchange_weak(
      current, (DispatchTime(current) + interval).uptimeNanoseconds(), std::memory_order_acq_rel)) {
  }
  // A host blocked in `MainRunLoop::run()` looks at its delayed work again.
  detail::mainQueueImpl()->wakeMain();
}

}  // namespace zorlan
