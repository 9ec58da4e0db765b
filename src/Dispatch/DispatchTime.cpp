#include "zorlan/Dispatch/DispatchTime.hpp"

#include <atomic>

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
}

void DispatchClock::useSystemClock() noexcept { gManual.store(false, std::memory_order_release); }

bool DispatchClock::isManual() noexcept { return gManual.load(std::memory_order_acquire); }

void DispatchClock::advance(DispatchTimeInterval interval) noexcept {
  if (!interval.isNever()) gManualNow.fetch_add(interval.count(), std::memory_order_acq_rel);
}

}  // namespace zorlan
