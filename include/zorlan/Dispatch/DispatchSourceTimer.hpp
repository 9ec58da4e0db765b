// DispatchSourceTimer: a timer that runs a handler on a queue at a deadline,
// once or repeatedly.
#pragma once

#include <functional>
#include <memory>

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan {

// A timer source bound to a queue. Configure it with `schedule` and
// `setEventHandler`, then `resume()` it. Each firing runs the handler on the
// queue; a repeating timer's next deadline is the previous deadline plus the
// interval, skipping deadlines already passed when a firing runs late (missed
// firings are not replayed in a burst). Firings of one timer never overlap,
// even on a concurrent queue and whatever thread calls `schedule`: a
// `schedule` while the handler runs (from the handler itself or elsewhere)
// arms its deadline when that firing returns. After `cancel()` returns, no
// further firing starts (one already under way on another thread may still
// finish); the handler may cancel its own timer. On the main queue, firings
// follow the dispatch clock, so tests drive them with `DispatchClock`'s manual
// clock and `MainRunLoop::runUntilIdle()`. Thread-safe. Destroying the timer
// cancels it.
class DispatchSourceTimer {
 public:
  explicit DispatchSourceTimer(DispatchQueue queue);
  ~DispatchSourceTimer();
  DispatchSourceTimer(const DispatchSourceTimer&) = delete;
  DispatchSourceTimer& operator=(const DispatchSourceTimer&) = delete;

  // Sets the first deadline and the repeat interval (`never()`: fire once;
  // zero or negative stops the process: a precondition). A deadline of
  // `DispatchTime::distantFuture()` never fires. The leeway is accepted for
  // compatibility; firings are never deferred to be grouped. Takes effect at
  // `resume()`, or at once when already resumed (when the running firing
  // returns, if one runs), replacing any pending firing.
  void schedule(DispatchTime deadline,
                DispatchTimeInterval repeating = DispatchTimeInterval::never(),
                DispatchTimeInterval leeway = DispatchTimeInterval::nanoseconds(0));
  void setEventHandler(std::function<void()> handler);
  // Starts the timer (once; later calls do nothing).
  void resume();
  // Stops the timer for good.
  void cancel();
  bool isCancelled() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zorlan
