#include "zorlan/Dispatch/DispatchSourceTimer.hpp"

#include <mutex>

#include "zorlan/Base/Precondition.hpp"

namespace zorlan {

struct DispatchSourceTimer::State : std::enable_shared_from_this<State> {
  explicit State(DispatchQueue q) : queue(std::move(q)) {}

  // Arms the next firing; `generation` ties it to the current schedule.
  void arm(DispatchTime at, std::uint64_t forGeneration) {
    std::weak_ptr<State> weak = weak_from_this();
    queue.asyncAfter(at, [weak, at, forGeneration] {
      if (auto self = weak.lock()) self->fire(at, forGeneration);
    });
  }

  // Runs the handler, then arms the next firing. While a firing runs,
  // nothing else is armed (`schedule` leaves the arming of its new deadline
  // to the firing), so one timer's firings never overlap, even on a
  // concurrent queue.
  void fire(DispatchTime firedAt, std::uint64_t forGeneration) {
    std::function<void()> toRun;
    {
      std::lock_guard lock(mutex);
      if (cancelled || forGeneration != generation) return;
      firing = true;
      toRun = handler;
    }
    if (toRun) toRun();
    toRun = nullptr;  // before locking: it may own the timer (see `cancel`)
    std::lock_guard lock(mutex);
    firing = false;
    if (cancelled) return;
    if (forGeneration != generation) {  // rescheduled meanwhile
      if (deadline != DispatchTime::distantFuture()) arm(deadline, generation);
      return;
    }
    if (interval.isNever()) return;
    arm(nextDeadline(firedAt), generation);
  }

  // The first deadline after `fired` that is still ahead of the clock:
  // firings missed while the queue was busy (or the clock jumped) collapse
  // into the one that just ran.
  DispatchTime nextDeadline(DispatchTime fired) const {
    const DispatchTime next = fired + interval;
    const DispatchTime now = DispatchTime::now();
    if (next > now || next == DispatchTime::distantFuture()) return next;
    const std::int64_t behind = now.uptimeNanoseconds() - fired.uptimeNanoseconds();
    const std::int64_t periods = behind / interval.count() + 1;
    return fired +
           DispatchTimeInterval::nanoseconds(detail::saturatingScale(periods, interval.count()));
  }

  DispatchQueue queue;
  mutable std::mutex mutex;
  std::function<void()> handler;
  DispatchTime deadline = DispatchTime::distantFuture();
  DispatchTimeInterval interval = DispatchTimeInterval::never();
  bool resumed = false;
  bool cancelled = false;
  bool firing = false;  // the handler is running
  std::uint64_t generation = 0;
};

DispatchSourceTimer::DispatchSourceTimer(DispatchQueue queue)
    : state_(std::make_shared<State>(std::move(queue))) {}

DispatchSourceTimer::~DispatchSourceTimer() { cancel(); }

void DispatchSourceTimer::schedule(DispatchTime deadline, DispatchTimeInterval repeating,
                                   DispatchTimeInterval /*leeway*/) {
  ZORLAN_PRECONDITION(repeating.count() > 0,
                      "a repeating timer's interval must be positive (never() for one shot)");
  std::lock_guard lock(state_->mutex);
  state_->deadline = deadline;
  state_->interval = repeating;
  ++state_->generation;
  if (state_->resumed && !state_->cancelled && !state_->firing &&
      deadline != DispatchTime::distantFuture()) {
    state_->arm(deadline, state_->generation);
  }
}

void DispatchSourceTimer::setEventHandler(std::function<void()> handler) {
  std::lock_guard lock(state_->mutex);
  state_->handler = std::move(handler);
}

void DispatchSourceTimer::resume() {
  std::lock_guard lock(state_->mutex);
  if (state_->resumed || state_->cancelled) return;
  state_->resumed = true;
  if (state_->deadline != DispatchTime::distantFuture()) {
    state_->arm(state_->deadline, state_->generation);
  }
}

void DispatchSourceTimer::cancel() {
  std::function<void()> handler;  // released after unlocking: it may own this timer
  std::lock_guard lock(state_->mutex);
  state_->cancelled = true;
  handler = std::move(state_->handler);
  state_->handler = nullptr;
}

bool DispatchSourceTimer::isCancelled() const {
  std::lock_guard lock(state_->mutex);
  return state_->cancelled;
}

}  // namespace zorlan
