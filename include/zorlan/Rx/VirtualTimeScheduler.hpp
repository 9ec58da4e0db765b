// VirtualTimeScheduler and TestScheduler: schedulers whose clock only moves
// when a test advances it, so time-based behaviour is tested without waiting.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "zorlan/Rx/Observer.hpp"
#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan::rx {

// Runs scheduled actions in order of due time (then of scheduling) as the
// virtual clock is advanced. The clock starts at zero and saturates at
// `RxTime::max()`, the end of time: a delay of `RxTimeInterval::max()` is due
// only there, and advancing by any span never wraps. Thread-safe to schedule
// from any thread; advance it from one thread.
class VirtualTimeScheduler : public SchedulerType {
 public:
  VirtualTimeScheduler() = default;

  RxTime now() const override;
  Disposable schedule(std::function<Disposable()> action) override;
  Disposable scheduleRelative(RxTimeInterval dueTime, std::function<Disposable()> action) override;
  // Schedules at an absolute virtual time.
  Disposable scheduleAbsolute(RxTime dueTime, std::function<Disposable()> action);

  // Runs every action due up to `time`, moving the clock along; the clock ends
  // at `time` (never moves back).
  void advanceTo(RxTime time);
  // Advances by `interval`, saturating at the end of time.
  void advanceBy(RxTimeInterval interval);
  // Runs actions until none is left (periodic work: forever, so avoid it).
  void start();
  // Runs the actions due now.
  void runDue() { advanceTo(now()); }

 private:
  struct Item;
  bool runNext(RxTime limit);

  mutable std::mutex mutex_;
  RxTime clock_{};
  std::uint64_t sequence_ = 0;
  std::multimap<std::pair<RxTime, std::uint64_t>, std::shared_ptr<Item>> queue_;
};

// One recorded event with its virtual time.
template <class T>
struct Recorded {
  RxTime time;
  Event<T> event;
};

// An observer that records what it receives with the virtual time.
template <class T>
class TestableObserver {
 public:
  TestableObserver(std::shared_ptr<SchedulerType> clock) : clock_(std::move(clock)) {}

  AnyObserver<T> asObserver() const {
    auto events = events_;
    auto clock = clock_;
    return AnyObserver<T>::make(
        [events, clock](const T& v) {
          events->push_back({clock->now(), Event<T>::next(v)});
        },
        [events, clock](std::exception_ptr e) {
          events->push_back({clock->now(), Event<T>::failed(e)});
        },
        [events, clock] {
          events->push_back({clock->now(), Event<T>::completed()});
        });
  }
  const std::vector<Recorded<T>>& events() const { return *events_; }
  // The elements received, in order.
  std::vector<T> elements() const {
    std::vector<T> out;
    for (const auto& r : *events_) {
      if (r.event.element) out.push_back(*r.event.element);
    }
    return out;
  }
  bool completed() const {
    return !events_->empty() && events_->back().event.kind == Event<T>::Kind::completed;
  }
  bool failed() const {
    return !events_->empty() && events_->back().event.kind == Event<T>::Kind::error;
  }

 private:
  std::shared_ptr<SchedulerType> clock_;
  std::shared_ptr<std::vector<Recorded<T>>> events_ = std::make_shared<std::vector<Recorded<T>>>();
};

// A virtual-time scheduler that makes recording observers.
class TestScheduler : public VirtualTimeScheduler {
 public:
  static std::shared_ptr<TestScheduler> make() { return std::make_shared<TestScheduler>(); }

  template <class T>
  TestableObserver<T> createObserver() {
    return TestableObserver<T>(shared_from_this());
  }
  // Virtual time `ticks` nanoseconds after zero.
  static RxTime at(RxTimeInterval sinceStart) { return RxTime(sinceStart); }
};

}  // namespace zorlan::rx
