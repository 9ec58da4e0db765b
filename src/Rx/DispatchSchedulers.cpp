// The schedulers that run on dispatch queues.
#include "Rx/ScheduledAction.hpp"
#include "zorlan/Dispatch/DispatchSourceTimer.hpp"
#include "zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp"
#include "zorlan/Rx/ConcurrentMainScheduler.hpp"
#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Rx/SerialDispatchQueueScheduler.hpp"

namespace zorlan::rx {
namespace {

RxTime wallClock() {
  return std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
}

Disposable scheduleOn(const DispatchQueue& queue, std::function<Disposable()> action) {
  auto scheduled = std::make_shared<detail::ScheduledAction>(std::move(action));
  queue.async([scheduled] { scheduled->run(); });
  return Disposable(scheduled);
}

Disposable scheduleOnAfter(const DispatchQueue& queue, RxTimeInterval dueTime,
                           std::function<Disposable()> action) {
  auto scheduled = std::make_shared<detail::ScheduledAction>(std::move(action));
  auto deadline = DispatchTime::now() +
                  DispatchTimeInterval::nanoseconds(std::max<std::int64_t>(0, dueTime.count()));
  queue.asyncAfter(deadline, [scheduled] { scheduled->run(); });
  return Disposable(scheduled);
}

// Periodic work on a timer source bound to the queue: deadlines follow the
// first one by whole periods (no drift), late firings collapse into one, and
// firings never overlap. The timer's handler owns the timer, so the work runs
// until disposed even when the caller drops its handle; disposing cancels the
// timer, which drops the handler and with it that cycle.
class PeriodicTimer final : public DisposableBase {
 public:
  explicit PeriodicTimer(const DispatchQueue& queue) : timer_(queue) {}

  static Disposable start(const DispatchQueue& queue, RxTimeInterval startAfter,
                          RxTimeInterval period, std::function<void()> action) {
    auto periodic = std::make_shared<PeriodicTimer>(queue);
    DispatchSourceTimer& timer = periodic->timer_;
    timer.setEventHandler([periodic, action = std::move(action)] { action(); });
    timer.schedule(
        DispatchTime::now() + DispatchTimeInterval::from(std::max(startAfter, RxTimeInterval{})),
        DispatchTimeInterval::from(std::max(period, RxTimeInterval{1})));
    timer.resume();
    return Disposable(std::move(periodic));
  }
  void dispose() override { timer_.cancel(); }
  bool isDisposed() const override { return timer_.isCancelled(); }

 private:
  DispatchSourceTimer timer_;
};

Disposable schedulePeriodicOn(const DispatchQueue& queue, RxTimeInterval startAfter,
                              RxTimeInterval period, std::function<void()> action) {
  return PeriodicTimer::start(queue, startAfter, period, std::move(action));
}

DispatchQoS orStandard(DispatchQoS qos) {
  return qos == DispatchQoS::unspecified ? DispatchQoS::standard : qos;
}

const DispatchSpecificKey<bool>& mainMarker() {
  static const auto* key = [] {
    auto* created = new DispatchSpecificKey<bool>();
    DispatchQueue::main().setSpecific(*created, true);
    return created;
  }();
  return *key;
}

}  // namespace

SerialDispatchQueueScheduler::SerialDispatchQueueScheduler(DispatchQueue target,
                                                           std::string internalSerialQueueName,
                                                           RxTimeInterval leeway)
    : queue_(std::move(internalSerialQueueName), target.qos(), target), leeway_(leeway) {}

SerialDispatchQueueScheduler::SerialDispatchQueueScheduler(DispatchQoS qos,
                                                           std::string internalSerialQueueName,
                                                           RxTimeInterval leeway)
    : SerialDispatchQueueScheduler(DispatchQueue::global(orStandard(qos)),
                                   std::move(internalSerialQueueName), leeway) {}

SerialDispatchQueueScheduler::SerialDispatchQueueScheduler(UseQueueDirectly, DispatchQueue queue)
    : queue_(std::move(queue)) {}

RxTime SerialDispatchQueueScheduler::now() const { return wallClock(); }

Disposable SerialDispatchQueueScheduler::schedule(std::function<Disposable()> action) {
  return scheduleOn(queue_, std::move(action));
}

Disposable SerialDispatchQueueScheduler::scheduleRelative(RxTimeInterval dueTime,
                                                          std::function<Disposable()> action) {
  return scheduleOnAfter(queue_, dueTime, std::move(action));
}

Disposable SerialDispatchQueueScheduler::schedulePeriodic(RxTimeInterval startAfter,
                                                          RxTimeInterval period,
                                                          std::function<void()> action) {
  return schedulePeriodicOn(queue_, startAfter, period, std::move(action));
}

MainScheduler::MainScheduler()
    : SerialDispatchQueueScheduler(UseQueueDirectly{}, DispatchQueue::main()) {}

std::shared_ptr<MainScheduler> MainScheduler::instance() {
  static auto* shared = new std::shared_ptr<MainScheduler>(std::make_shared<MainScheduler>());
  return *shared;
}

std::shared_ptr<SerialDispatchQueueScheduler> MainScheduler::asyncInstance() {
  struct AsyncMain : SerialDispatchQueueScheduler {
    AsyncMain() : SerialDispatchQueueScheduler(UseQueueDirectly{}, DispatchQueue::main()) {}
  };
  static auto* shared =
      new std::shared_ptr<SerialDispatchQueueScheduler>(std::make_shared<AsyncMain>());
  return *shared;
}

bool MainScheduler::isOnMainQueue() {
  return DispatchQueue::currentSpecific(mainMarker()).value_or(false);
}

Disposable MainScheduler::schedule(std::function<Disposable()> action) {
  int previous = enqueued_->fetch_add(1);
  if (isOnMainQueue() && previous == 0) {
    Disposable result;
    try {
      result = action();
    } catch (...) {
      enqueued_->fetch_sub(1);
      throw;
    }
    enqueued_->fetch_sub(1);
    return result;
  }
  auto counter = enqueued_;
  auto scheduled = std::make_shared<detail::ScheduledAction>(std::move(action));
  queue().async([scheduled, counter] {
    scheduled->run();
    counter->fetch_sub(1);
  });
  return Disposable(scheduled);
}

ConcurrentDispatchQueueScheduler::ConcurrentDispatchQueueScheduler(DispatchQueue queue,
                                                                   RxTimeInterval leeway)
    : queue_(std::move(queue)), leeway_(leeway) {}

ConcurrentDispatchQueueScheduler::ConcurrentDispatchQueueScheduler(DispatchQoS qos,
                                                                   RxTimeInterval leeway)
    : ConcurrentDispatchQueueScheduler(DispatchQueue::global(orStandard(qos)), leeway) {}

RxTime ConcurrentDispatchQueueScheduler::now() const { return wallClock(); }

Disposable ConcurrentDispatchQueueScheduler::schedule(std::function<Disposable()> action) {
  return scheduleOn(queue_, std::move(action));
}

Disposable ConcurrentDispatchQueueScheduler::scheduleRelative(RxTimeInterval dueTime,
                                                              std::function<Disposable()> action) {
  return scheduleOnAfter(queue_, dueTime, std::move(action));
}

Disposable ConcurrentDispatchQueueScheduler::schedulePeriodic(RxTimeInterval startAfter,
                                                              RxTimeInterval period,
                                                              std::function<void()> action) {
  return schedulePeriodicOn(queue_, startAfter, period, std::move(action));
}

std::shared_ptr<ConcurrentMainScheduler> ConcurrentMainScheduler::instance() {
  static auto* shared =
      new std::shared_ptr<ConcurrentMainScheduler>(std::make_shared<ConcurrentMainScheduler>());
  return *shared;
}

RxTime ConcurrentMainScheduler::now() const { return wallClock(); }

Disposable ConcurrentMainScheduler::schedule(std::function<Disposable()> action) {
  if (MainScheduler::isOnMainQueue()) return action();
  return scheduleOn(DispatchQueue::main(), std::move(action));
}

Disposable ConcurrentMainScheduler::scheduleRelative(RxTimeInterval dueTime,
                                                     std::function<Disposable()> action) {
  return MainScheduler::instance()->scheduleRelative(dueTime, std::move(action));
}

Disposable ConcurrentMainScheduler::schedulePeriodic(RxTimeInterval startAfter,
                                                     RxTimeInterval period,
                                                     std::function<void()> action) {
  return MainScheduler::instance()->schedulePeriodic(startAfter, period, std::move(action));
}

}  // namespace zorlan::rx
