#include "zorlan/Dispatch/DispatchSourceTimer.hpp"

#include <mutex>

namespace zorlan {

struct DispatchSourceTimer::State : std::enable_shared_from_this<State> {
  explicit State(DispatchQueue q) : queue(std::move(q)) {}

  // Arms the next firing; `generation` ties it to the current schedule.
  void arm(DispatchTime deadline, std::uint64_t forGeneration) {
    std::weak_ptr<State> weak = weak_from_this();
    queue.asyncAfter(deadline, [weak, deadline, forGeneration] {
      if (auto self = weak.lock()) self->fire(deadline, forGeneration);
    });
  }

  void fire(DispatchTime deadline, std::uint64_t forGeneration) {
    std::function<void()> toRun;
    {
      std::lock_guard lock(mutex);
      if (cancelled || forGeneration != generation) return;
      toRun = handler;
      if (!interval.isNever()) arm(deadline + interval, generation);
    }
    if (toRun) toRun();
  }

  DispatchQueue queue;
  mutable std::mutex mutex;
  std::function<void()> handler;
  DispatchTime deadline = DispatchTime::distantFuture();
  DispatchTimeInterval interval = DispatchTimeInterval::never();
  bool resumed = false;
  bool cancelled = false;
  std::uint64_t generation = 0;
};

DispatchSourceTimer::DispatchSourceTimer(DispatchQueue queue)
    : state_(std::make_shared<State>(std::move(queue))) {}

DispatchSourceTimer::~DispatchSourceTimer() { cancel(); }

void DispatchSourceTimer::schedule(DispatchTime deadline, DispatchTimeInterval repeating,
                                   DispatchTimeInterval /*leeway*/) {
  std::lock_guard lock(state_->mutex);
  state_->deadline = deadline;
  state_->interval = repeating;
  ++state_->generation;
  if (state_->resumed && !state_->cancelled && deadline != DispatchTime::distantFuture()) {
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
  std::lock_guard lock(state_->mutex);
  state_->cancelled = true;
  state_->handler = nullptr;
}

bool DispatchSourceTimer::isCancelled() const {
  std::lock_guard lock(state_->mutex);
  return state_->cancelled;
}

}  // namespace zorlan
