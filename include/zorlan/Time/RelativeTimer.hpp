// RelativeTimer: runs an action once, a number of seconds from now, on a
// queue, unless cancelled first.
//
//   auto timer = RelativeTimer::scheduledTimer(2.5, DispatchQueue::main(),
//                                              DispatchTimeInterval::milliseconds(10),
//                                              [] { hideControls(); });
//   // keep `timer`: destroying it cancels the action
#pragma once

#include <functional>
#include <memory>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Dispatch/DispatchSourceTimer.hpp"

namespace zorlan {

// A one-shot timer on a dispatch timer source. Armed from creation until it
// fires once, is cancelled or is destroyed. Not synchronised: cancel,
// query and destroy one timer from one thread at a time.
class RelativeTimer {
 public:
  // An armed timer: `action` runs on `queue` once `dueTime` seconds have
  // passed on the dispatch clock (zero or negative: as soon as the queue
  // runs it; beyond the dispatch clock's range, infinite or NaN: never).
  // `leeway` is passed to the source. Never null.
  static std::unique_ptr<RelativeTimer> scheduledTimer(double dueTime, DispatchQueue queue,
                                                       DispatchTimeInterval leeway,
                                                       std::function<void()> action);
  ~RelativeTimer();
  RelativeTimer(const RelativeTimer&) = delete;
  RelativeTimer& operator=(const RelativeTimer&) = delete;

  // Cancels the source (if still held) and lets it go. Harmless when already
  // cancelled or fired. After it returns the action does not start.
  void cancel();
  // True until `cancel()` (or destruction).
  bool isArmed() const;

 private:
  RelativeTimer() = default;
  std::unique_ptr<DispatchSourceTimer> timerReference_;
};

}  // namespace zorlan
