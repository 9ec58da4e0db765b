// Hot and cold test sequences: recorded events played on a TestScheduler's
// virtual clock, for tests of time-based behaviour.
#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include "zorlan/Rx/CompositeDisposable.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"

namespace zorlan::rx {

// Recorded events at `time` after virtual time zero (hot) or after the
// subscription (cold).
template <class T>
Recorded<T> recordedNext(RxTimeInterval time, T element) {
  return {RxTime(time), Event<T>::next(std::move(element))};
}
template <class T>
Recorded<T> recordedError(RxTimeInterval time, std::exception_ptr error) {
  return {RxTime(time), Event<T>::failed(error)};
}
template <class T>
Recorded<T> recordedCompleted(RxTimeInterval time) {
  return {RxTime(time), Event<T>::completed()};
}

// A hot sequence: each event is sent at its virtual time to whoever is
// subscribed then; events are scheduled now, whether or not anyone
// subscribes. Events before the scheduler's present time are sent as soon
// as it runs.
template <class T>
Observable<T> hotObservable(const std::shared_ptr<TestScheduler>& scheduler,
                            std::vector<Recorded<T>> events) {
  PublishSubject<T> subject;
  for (Recorded<T>& recorded : events) {
    scheduler->scheduleAbsolute(recorded.time, [subject, event = std::move(recorded.event)] {
      subject.on(event);
      return Disposable();
    });
  }
  return subject.asObservable();
}

// A cold sequence: every subscription receives all events, each at its time
// after that subscription; disposing cancels the rest.
template <class T>
Observable<T> coldObservable(const std::shared_ptr<TestScheduler>& scheduler,
                             std::vector<Recorded<T>> events) {
  auto shared = std::make_shared<const std::vector<Recorded<T>>>(std::move(events));
  return Observable<T>::create([scheduler, shared](const AnyObserver<T>& o) {
    auto group = std::make_shared<CompositeDisposable>();
    for (std::size_t i = 0; i < shared->size(); ++i) {
      group->add(scheduler->scheduleRelative((*shared)[i].time.time_since_epoch(), [o, shared, i] {
        o.on((*shared)[i].event);
        return Disposable();
      }));
    }
    return Disposable(group);
  });
}

}  // namespace zorlan::rx
