// Sharing one subscription: share.
// Part of `Observable` (see Observable.hpp, which includes every family).
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"
#include "zorlan/Rx/Observer.hpp"
#include "zorlan/Rx/detail/ShareState.hpp"

namespace zorlan::rx {

template <class T>
class Observable;

namespace detail {

template <class T>
class SharingOperators {
 public:
  // Shares one subscription to the source among all subscribers, replaying
  // the last `replay` elements to each new one before live elements (even
  // when those come from another thread meanwhile). See
  // `SubjectLifetimeScope` for when the source is subscribed.
  Observable<T> share(std::size_t replay = 0,
                      SubjectLifetimeScope scope = SubjectLifetimeScope::whileConnected) const {
    auto state = std::make_shared<ShareState<T>>(self(), replay, scope);
    return Observable<T>::create([state](const AnyObserver<T>& o) { return state->subscribe(o); });
  }

 private:
  const Observable<T>& self() const noexcept { return static_cast<const Observable<T>&>(*this); }
};

}  // namespace detail

}  // namespace zorlan::rx

#include "zorlan/Rx/Observable.hpp"
