// Binder and ControlProperty: observers that apply values to a target, and a
// property that is both a sequence of values and a sink for new ones.
#pragma once

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx {

// Applies each element to a weakly held target on a scheduler (the main
// scheduler by default). Once the target is gone, elements are dropped.
// Binding never fails: errors and completion are ignored.
template <class T>
class Binder {
 public:
  template <class Target>
  Binder(const std::shared_ptr<Target>& target,
         std::type_identity_t<std::function<void(Target&, const T&)>> binding,
         ImmediateSchedulerPtr scheduler = MainScheduler::instance()) {
    std::weak_ptr<Target> weak = target;
    observer_ = AnyObserver<T>::make(
        [weak, binding = std::move(binding), scheduler](const T& v) {
          scheduler->schedule([weak, binding, v] {
            if (auto strong = weak.lock()) binding(*strong, v);
            return Disposable();
          });
        },
        [](std::exception_ptr) {}, [] {});
  }
  // The observer that applies elements (for `bindTo`).
  const AnyObserver<T>& asObserver() const noexcept { return observer_; }
  // Applies `element` on the scheduler.
  void onNext(const T& element) const { observer_.onNext(element); }

 private:
  AnyObserver<T> observer_;
};

// A value that can be observed (`asObservable`) and set (`asObserver`): the
// two halves are given at construction and used as they are.
template <class T>
class ControlProperty {
 public:
  ControlProperty(Observable<T> values, AnyObserver<T> valueSink)
      : values_(std::move(values)), valueSink_(std::move(valueSink)) {}
  const Observable<T>& asObservable() const noexcept { return values_; }
  const AnyObserver<T>& asObserver() const noexcept { return valueSink_; }
  Disposable subscribe(const AnyObserver<T>& observer) const { return values_.subscribe(observer); }
  void onNext(const T& element) const { valueSink_.onNext(element); }

 private:
  Observable<T> values_;
  AnyObserver<T> valueSink_;
};

}  // namespace zorlan::rx
