// Asynchronous sequence helpers: run a closure returning a `Single` for each
// element of a range, one after another; the first failure ends the whole
// operation with that failure.
#pragma once

#include <cstddef>
#include <exception>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Rx/SerialDisposable.hpp"
#include "zorlan/Rx/Single.hpp"

namespace zorlan {

namespace detail {

// One run of `asyncMap`: subscribes to the step of each item in turn. Steps
// that finish synchronously are chained in a loop, not by recursion, so a
// long range of immediate steps cannot exhaust the stack.
template <class T, class U, class F>
class SequentialRun : public std::enable_shared_from_this<SequentialRun<T, U, F>> {
 public:
  SequentialRun(std::shared_ptr<const std::vector<T>> items, F step,
                rx::SingleObserver<std::vector<U>> observer)
      : items_(std::move(items)), step_(std::move(step)), observer_(std::move(observer)) {}

  rx::Disposable start() {
    drive();
    return rx::Disposable(current_);
  }

 private:
  void drive() {
    while (!current_->isDisposed()) {
      if (index_ == items_->size()) {
        observer_.success(results_);
        return;
      }
      std::optional<rx::Single<U>> next;
      try {
        next.emplace(step_((*items_)[index_]));
      } catch (...) {
        observer_.failure(std::current_exception());
        return;
      }
      {
        std::lock_guard lock(mutex_);
        subscribing_ = true;
        finishedWhileSubscribing_ = false;
      }
      auto self = this->shared_from_this();
      current_->set(next->subscribe([self](const U& value) { self->stepSucceeded(value); },
                                    [self](std::exception_ptr e) { self->observer_.failure(e); }));
      std::lock_guard lock(mutex_);
      subscribing_ = false;
      if (!finishedWhileSubscribing_) return;  // the step goes on; it calls drive() when done
    }
  }

  void stepSucceeded(const U& value) {
    results_.push_back(value);
    ++index_;
    {
      std::lock_guard lock(mutex_);
      if (subscribing_) {
        finishedWhileSubscribing_ = true;  // the loop in drive() goes on
        return;
      }
    }
    drive();
  }

  std::shared_ptr<const std::vector<T>> items_;
  F step_;
  rx::SingleObserver<std::vector<U>> observer_;
  std::shared_ptr<rx::SerialDisposable> current_ = std::make_shared<rx::SerialDisposable>();
  std::vector<U> results_;
  std::size_t index_ = 0;
  std::mutex mutex_;
  bool subscribing_ = false;
  bool finishedWhileSubscribing_ = false;
};

template <class R>
using RangeValue = std::ranges::range_value_t<R>;

}  // namespace detail

// The results of `transform` (an element → `rx::Single<U>`) for every element
// of `items`, in order. The next element's single is subscribed only once the
// previous one has succeeded; the first failure (or exception thrown by
// `transform`) fails the whole result. Each subscription runs anew; disposing
// it disposes the running step and starts no other.
template <std::ranges::input_range R, class F>
auto asyncMap(const R& items, F transform) -> rx::Single<
    std::vector<typename std::invoke_result_t<F&, const detail::RangeValue<R>&>::Element>> {
  using T = detail::RangeValue<R>;
  using U = typename std::invoke_result_t<F&, const T&>::Element;
  auto shared =
      std::make_shared<const std::vector<T>>(std::ranges::begin(items), std::ranges::end(items));
  return rx::Single<std::vector<U>>::create(
      [shared, transform](const rx::SingleObserver<std::vector<U>>& observer) {
        auto run = std::make_shared<detail::SequentialRun<T, U, F>>(shared, transform, observer);
        return run->start();
      });
}

// As `asyncMap` with `transform` returning `rx::Single<std::optional<U>>`,
// keeping only the present results.
template <std::ranges::input_range R, class F>
auto asyncCompactMap(const R& items, F transform) -> rx::Single<std::vector<
    typename std::invoke_result_t<F&, const detail::RangeValue<R>&>::Element::value_type>> {
  using U = typename std::invoke_result_t<F&, const detail::RangeValue<R>&>::Element::value_type;
  return asyncMap(items, std::move(transform)).map([](const std::vector<std::optional<U>>& all) {
    std::vector<U> present;
    for (const auto& v : all) {
      if (v) present.push_back(*v);
    }
    return present;
  });
}

// Runs `action` (an element → `rx::Single<U>`) for every element in order;
// completes after the last, fails at the first failure.
template <std::ranges::input_range R, class F>
rx::Completable asyncForEach(const R& items, F action) {
  using U = typename std::invoke_result_t<F&, const detail::RangeValue<R>&>::Element;
  auto single = asyncMap(items, std::move(action));
  return rx::Completable::create([single](const rx::CompletableObserver& observer) {
    return single.subscribe([observer](const std::vector<U>&) { observer.completed(); },
                            [observer](std::exception_ptr e) { observer.error(e); });
  });
}

}  // namespace zorlan
