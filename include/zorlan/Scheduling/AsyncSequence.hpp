// Asynchronous sequence helpers: run a closure returning a `Single` for each
// element, one after another; the first failure ends the whole operation.
#pragma once

#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Rx/Single.hpp"

namespace zorlan {

namespace detail {

// Runs `step` for items[index...] in order, collecting successes.
template <class T, class U, class F>
void runSequentially(std::shared_ptr<const std::vector<T>> items, std::size_t index, F step,
                     std::shared_ptr<std::vector<U>> results,
                     rx::SingleObserver<std::vector<U>> observer,
                     std::shared_ptr<rx::SerialDisposable> current) {
  if (index == items->size()) {
    observer.success(*results);
    return;
  }
  current->set(step((*items)[index])
                   .subscribe(
                       [=](const U& value) {
                         results->push_back(value);
                         runSequentially(items, index + 1, step, results, observer, current);
                       },
                       [observer](std::exception_ptr e) { observer.failure(e); }));
}

}  // namespace detail

// The results of `transform` for every element, in order; the next element
// starts only once the previous one has succeeded.
template <class T, class F>
auto asyncMap(std::vector<T> items, F transform)
    -> rx::Single<std::vector<typename std::invoke_result_t<F&, const T&>::Element>> {
  using U = typename std::invoke_result_t<F&, const T&>::Element;
  auto shared = std::make_shared<const std::vector<T>>(std::move(items));
  return rx::Single<std::vector<U>>::create(
      [shared, transform](const rx::SingleObserver<std::vector<U>>& observer) {
        auto current = std::make_shared<rx::SerialDisposable>();
        detail::runSequentially<T, U>(shared, 0, transform,
                                      std::make_shared<std::vector<U>>(), observer, current);
        return rx::Disposable(current);
      });
}

// As `asyncMap`, keeping only the present results.
template <class T, class F>
auto asyncCompactMap(std::vector<T> items, F transform)
    -> rx::Single<std::vector<typename std::invoke_result_t<F&, const T&>::Element::value_type>> {
  using U = typename std::invoke_result_t<F&, const T&>::Element::value_type;
  return asyncMap(std::move(items), std::move(transform))
      .map([](const std::vector<std::optional<U>>& all) {
        std::vector<U> present;
        for (const auto& v : all) {
          if (v) present.push_back(*v);
        }
        return present;
      });
}

// Runs `action` for every element in order; completes after the last.
template <class T, class F>
rx::Completable asyncForEach(std::vector<T> items, F action) {
  using U = typename std::invoke_result_t<F&, const T&>::Element;
  auto single = asyncMap(std::move(items), std::move(action));
  return rx::Completable::create([single](const rx::CompletableObserver& observer) {
    return single.subscribe([observer](const std::vector<U>&) { observer.completed(); },
                            [observer](std::exception_ptr e) { observer.error(e); });
  });
}

}  // namespace zorlan
